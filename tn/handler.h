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

/// The default timeout of an exchange.
constexpr std::chrono::milliseconds kExchangeTimeout{6000};

/// Which rights each command needs. A command without an entry needs right::Read or right::Write when it is a reading
/// one (get, get-all, get-object, get-count, get-policies, subscribe, unsubscribe) and right::Write otherwise.
class policies {
  public:
    /// @param mask  rights of which the caller must hold one
    void add_policy(uint32_t command, uint32_t mask) { masks_[command] = mask; }
    /// For a handler with secrets: get, get-all, get-object and subscribe then need right::Write.
    void protectData();
    /// Rights of which a caller must hold one.
    [[nodiscard]] uint32_t needed(uint32_t command) const;
    [[nodiscard]] const std::map<uint32_t, uint32_t>& all() const { return masks_; }

  private:
    std::map<uint32_t, uint32_t> masks_;
};

/// The owner of the data behind one path of the bus. A message reaches `handle`, which checks the caller's rights and
/// calls the hook of its command; the message that a hook returns is the reply. An empty reply means success.
///
/// A handler belongs to its creator, and leaves its looper when it is destroyed. All hooks run on the loop's thread.
/// Names of hooks and calls are fixed: plug-ins override them.
class Handler {
  public:
    Handler() = default;
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;
    virtual ~Handler();

    /// Reads what the handler keeps in a store. Called when it is added to a looper.
    virtual void loadPermData() {}
    /// Called when the looper has left its loop.
    virtual void savePermData() {}

    /// Answers one message. error::NotPermitted when the rights don't suffice for its command.
    /// @param rights  of the caller, bits of right::*
    virtual message handle(const message& request, uint32_t rights = right::All);
    /// Answers a message to a path below this handler that has no handler: error::NoSuchHandler unless overridden.
    virtual message handleBrkpath(const message& request);
    /// Consumes a reply to an exchange of this handler that had timed out.
    virtual void handleReply(const message& reply);
    /// Calls the hook of a command, without a check of rights.
    virtual message handleCmd(const message& request, uint32_t command);

    // The hooks of the commands in cmd::*. Unless overridden they reply error::NoSuchCommand, except as noted.

    virtual message cmdGetPolicies(const message& request);  ///< every policy, as u32 field COMMAND: mask
    virtual message cmdGet(const message& request);          ///< getObject(kNoId)
    virtual message cmdSet(const message& request);
    virtual message cmdReset(const message& request);
    virtual message cmdGetObj(const message& request);  ///< getObject of field::ObjectId
    virtual message cmdSetObj(const message& request);
    virtual message cmdGetAll(const message& request);
    virtual message cmdAddObj(const message& request);
    virtual message cmdRemoveObj(const message& request);
    virtual message cmdMoveObj(const message& request);
    virtual message cmdGetCount(const message& request);  ///< getObjectCount() in field::Count
    /// A command that isn't one of the above.
    virtual message cmdUnknown(const message& request, uint32_t command);
    virtual message cmdShutdown(const message& request);  ///< ends the process's loop, and succeeds

    /// Whether a notification passes the filter that a subscriber gave. Every one does unless overridden. A const
    /// operation in spirit: it is called for each subscriber.
    virtual bool shouldNotify(const message& filter, const message& notification);
    /// A subscriber was added for this notification.
    virtual void subscribed(uint32_t notification, const message& filter);
    /// A subscriber has cancelled, or its connection has ended. In the latter case cmdDisconnected follows.
    virtual void unsubscribed(uint32_t notification, const message& filter);
    /// A peer that had subscriptions here has gone. Its path is field::Source of the request.
    virtual void cmdDisconnected(const message& request);
    /// All notifications have been sent: none is queued for any subscriber.
    virtual void notifiesSent();
    /// A subscription of this handler is in force after its owner was away: notifications may have been missed.
    virtual void resubscribed(std::span<const uint32_t> path, uint32_t command);

    /// The object with this id, or the whole handler for kNoId: error::NotFound unless overridden.
    virtual message getObject(uint32_t id);
    /// 0 unless overridden.
    virtual uint32_t getObjectCount();
    /// Whether a caller with these rights may give this command. Looks only.
    virtual bool checkPolicy(uint32_t command, uint32_t rights) const;

    /// Sends a message one way, to the path in field::Destination.
    /// @return false when it couldn't be handed over; the reason is logged if this process serves others
    bool sendCmd(message m, uint32_t command);
    /// Sends a request to the path in field::Destination and waits for the reply. Never throws and never blocks past
    /// the timeout: a failure is an error reply (error::Unreachable, TimedOut, TooLarge, NoSuchHandler).
    message exchangeCmd(message m, uint32_t command, std::chrono::milliseconds timeout = kExchangeTimeout);
    /// Notifies subscribers of cmd::Changed.
    /// @param objectId  kNoId for the whole handler
    /// @param changed   the object's new configuration
    void notifyChange(uint32_t objectId, message changed);
    /// Sends a notification to every subscriber of `command` whose filter it passes. Past the limit of a subscriber's
    /// queue, notifications about one object (field::ObjectId) are merged to its latest state.
    void notify(uint32_t command, const message& notification);
    /// Sends an undo record to the supervisor: `oldRequest`, whose command is set, takes `newRequest` back. Nothing is
    /// sent when newRequest carries field::NoUndo. A supervisor that isn't there is no failure.
    /// @param text  what was done, one line for people
    void sendUndo(const message& newRequest, message oldRequest, const std::string& text);

    /// Subscribes to another handler's notifications; they arrive at this handler's `handle` with `command`. The
    /// subscription lasts until unsubscribe: it is renewed whenever its owner appears or restarts. A second one of the
    /// same path, command and filter has no effect.
    /// @param filter  for the owner's shouldNotify
    void subscribe(std::span<const uint32_t> path, uint32_t command, const message& filter);
    /// Cancels the subscription of the same path, command and filter, if there is one.
    void unsubscribe(std::span<const uint32_t> path, uint32_t command, const message& filter);

    /// Where the handler was added; empty before that.
    [[nodiscard]] const std::vector<uint32_t>& path() const { return path_; }
    /// For the looper that it is added to.
    void setPath(std::span<const uint32_t> path) { path_.assign(path.begin(), path.end()); }
    policies& policySet() { return policies_; }

  private:
    void address(message& m, uint32_t command) const;

    std::vector<uint32_t> path_;
    policies policies_;
};

}  // namespace tn
