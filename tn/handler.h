#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "tn/message.h"

namespace tn {

class Looper;

constexpr std::chrono::milliseconds kExchangeTimeout{6000};

/// Which rights each command needs. A command without an entry needs right::Read or right::Write when it is a reading
/// one (get, get-all, get-object, get-count, get-policies, subscribe, unsubscribe) and right::Write otherwise.
class policies {
  public:
    /// @param mask  rights of which the caller must hold one
    void add_policy(uint32_t command, uint32_t mask) { masks_[command] = mask; }
    /// For a handler with secrets: get, get-all, get-object and subscribe then need right::Write.
    void protectData();
    [[nodiscard]] uint32_t needed(uint32_t command) const;
    [[nodiscard]] const std::map<uint32_t, uint32_t>& all() const { return masks_; }

  private:
    std::map<uint32_t, uint32_t> masks_;
};

/// What stands behind a path on the bus. A message reaches `handle`, which checks the caller's rights and calls the
/// hook of its command; the message a hook returns is the reply. An empty reply means success.
class Handler {
  public:
    Handler() = default;
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;
    virtual ~Handler();

    virtual void loadPermData() {}  ///< reads what the handler keeps in a store; called when it is added to a looper
    virtual void savePermData() {}  ///< called when the looper shuts down

    /// Answers one message from a caller with these rights (right::*).
    virtual message handle(const message& request, uint32_t rights = right::All);
    /// A message to a path below this handler that nobody serves.
    virtual message handleBrkpath(const message& request);
    /// A reply that came after its exchange had given up.
    virtual void handleReply(const message& reply);
    virtual message handleCmd(const message& request, uint32_t command);

    virtual message cmdGetPolicies(const message& request);  ///< field number command: its mask
    virtual message cmdGet(const message& request);          ///< getObject(kNoId)
    virtual message cmdSet(const message& request);
    virtual message cmdReset(const message& request);
    virtual message cmdGetObj(const message& request);
    virtual message cmdSetObj(const message& request);
    virtual message cmdGetAll(const message& request);
    virtual message cmdAddObj(const message& request);
    virtual message cmdRemoveObj(const message& request);
    virtual message cmdMoveObj(const message& request);
    virtual message cmdGetCount(const message& request);  ///< getObjectCount() in field::Count
    virtual message cmdUnknown(const message& request, uint32_t command);
    virtual message cmdShutdown(const message& request);  ///< ends the process's loop

    /// Whether a notification passes the filter message a subscriber gave; every one does unless overridden.
    virtual bool shouldNotify(const message& filter, const message& notification);
    virtual void subscribed(uint32_t notification, const message& filter);
    virtual void unsubscribed(uint32_t notification, const message& filter);
    virtual void cmdDisconnected(const message& request);  ///< a peer that had subscriptions here has gone
    virtual void notifiesSent();                           ///< no subscriber has anything queued any more
    /// A subscription of this handler's is in force after its owner was away: notifications may have been missed.
    virtual void resubscribed(std::span<const uint32_t> path, uint32_t command);

    virtual message getObject(uint32_t id);  ///< error::NotFound unless overridden
    virtual uint32_t getObjectCount();
    virtual bool checkPolicy(uint32_t command, uint32_t rights) const;

    /// Sends a message one way: `command` is put into it, its destination is the path already in it. False, with a line
    /// in the log, when the peer isn't there.
    bool sendCmd(message m, uint32_t command);
    /// Sends a request and waits for its reply. Never throws, never hangs past the time-out; what goes wrong is an
    /// error reply.
    message exchangeCmd(message m, uint32_t command, std::chrono::milliseconds timeout = kExchangeTimeout);
    /// Tells subscribers of cmd::Changed; kNoId means the whole handler.
    void notifyChange(uint32_t objectId, message changed);
    /// Sends a notification to every subscriber of `command` whose filter lets it through. Past the bound of a
    /// subscriber's queue, notifications about one object are merged to its latest state.
    void notify(uint32_t command, const message& notification);
    /// Records an undoable change: `oldRequest`, with its command and destination, takes `newRequest` back. Nothing is
    /// recorded when newRequest carries field::NoUndo.
    void sendUndo(const message& newRequest, message oldRequest, const std::string& text);

    /// Asks for another handler's notifications; they arrive at this handler's `handle` with `command`. The
    /// subscription is kept until unsubscribe: when the owner restarts or isn't there yet, it is made again without
    /// anyone's help.
    void subscribe(std::span<const uint32_t> path, uint32_t command, const message& filter);
    void unsubscribe(std::span<const uint32_t> path, uint32_t command, const message& filter);

    [[nodiscard]] const std::vector<uint32_t>& path() const { return path_; }
    void setPath(std::span<const uint32_t> path) { path_.assign(path.begin(), path.end()); }  ///< for the looper
    policies& policySet() { return policies_; }

  private:
    void address(message& m, uint32_t command) const;  ///< puts in the command and this handler as the source

    std::vector<uint32_t> path_;  ///< set when the handler is added to a looper
    policies policies_;
};

}  // namespace tn
