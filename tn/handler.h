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

/// The rights that each command needs. A command without an entry needs right::Write; if it is a reading command (get,
/// get-all, get-object, get-count, get-policies, subscribe, unsubscribe), right::Read is enough.
class policies {
  public:
    /// @param mask  bits of right::*; the caller must hold at least one
    void add_policy(uint32_t command, uint32_t mask) { masks_[command] = mask; }
    /// For a handler with secrets: makes get, get-all, get-object and subscribe need right::Write.
    void protectData();
    /// Bits of right::* of which the caller must hold at least one.
    [[nodiscard]] uint32_t needed(uint32_t command) const;
    [[nodiscard]] const std::map<uint32_t, uint32_t>& all() const { return masks_; }

  private:
    std::map<uint32_t, uint32_t> masks_;
};

/// The owner of the data of one path on the bus. `handle` checks the caller's rights and calls the hook of the command.
/// The message that the hook returns is the reply; an empty one means success.
///
/// The creator owns the handler. A handler that is destroyed removes itself from its looper. All hooks run on the
/// loop's thread. The names of hooks and calls are fixed: plug-ins use them.
class Handler {
  public:
    Handler() = default;
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;
    virtual ~Handler();

    /// Loads the handler's stored data. Called when the handler is added to a looper.
    virtual void loadPermData() {}
    /// Stores the handler's data. Called when the looper has left its loop.
    virtual void savePermData() {}

    /// Answers one message. error::NotPermitted if the caller lacks the rights for its command.
    /// @param rights  of the caller, bits of right::*
    virtual message handle(const message& request, uint32_t rights = right::All);
    /// Answers a message to a path that has no handler and is below this handler's. error::NoSuchHandler unless
    /// overridden.
    virtual message handleBrkpath(const message& request);
    /// Consumes a late reply, to an exchange of this handler that has timed out.
    virtual void handleReply(const message& reply);
    /// Calls the hook of a command, without checking rights.
    virtual message handleCmd(const message& request, uint32_t command);

    // The hooks of the commands in cmd::*. Unless overridden they reply error::NoSuchCommand, except as noted.

    virtual message cmdGetPolicies(const message& request);  ///< each policy's mask, in the u32 field COMMAND
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
    /// Answers any other command.
    virtual message cmdUnknown(const message& request, uint32_t command);
    virtual message cmdShutdown(const message& request);  ///< ends the process's loop

    /// Whether a notification passes a subscriber's filter. True unless overridden. Called for each subscriber; must
    /// not change the handler.
    virtual bool shouldNotify(const message& filter, const message& notification);
    /// Called when a subscriber has been added for this notification.
    virtual void subscribed(uint32_t notification, const message& filter);
    /// Called when a subscriber has cancelled, or its connection has ended. In the latter case cmdDisconnected follows.
    virtual void unsubscribed(uint32_t notification, const message& filter);
    /// Called when the connection of a subscriber has ended. The subscriber's path is field::Source of the request.
    virtual void cmdDisconnected(const message& request);
    /// Called from the loop when no notification is queued for any subscriber any more: all were sent, or dropped with
    /// their connection.
    virtual void notifiesSent();
    /// Called when a subscription of this handler is in force again after its owner was absent. Notifications may have
    /// been missed.
    /// @param path     of the owner
    /// @param command  the notification
    virtual void resubscribed(std::span<const uint32_t> path, uint32_t command);

    /// The object with this id, or the whole handler's data for kNoId. error::NotFound unless overridden.
    virtual message getObject(uint32_t id);
    /// 0 unless overridden.
    virtual uint32_t getObjectCount();
    /// Whether a caller with these rights may send this command.
    virtual bool checkPolicy(uint32_t command, uint32_t rights) const;

    /// Sends a message to the path in field::Destination and doesn't wait for a reply.
    /// @return false if it was neither sent nor queued. An absent owner is logged if this process listens.
    bool sendCmd(message m, uint32_t command);
    /// Sends a request to the path in field::Destination and waits for the reply. A failure is an error reply:
    /// error::Unreachable, TimedOut, TooLarge or NoSuchHandler.
    /// @param timeout  for a reply from another process; a handler of this process is called directly
    message exchangeCmd(message m, uint32_t command, std::chrono::milliseconds timeout = kExchangeTimeout);
    /// Sends cmd::Changed to its subscribers.
    /// @param objectId  kNoId for the whole handler
    /// @param changed   the object's new configuration
    void notifyChange(uint32_t objectId, message changed);
    /// Sends a notification to every subscriber of `command` whose filter it passes. If kMergeBeyond notifications wait
    /// for a subscriber, a further one replaces the waiting one about the same object (field::ObjectId).
    void notify(uint32_t command, const message& notification);
    /// Sends an undo record to the supervisor. Sends nothing if `newRequest` has field::NoUndo. An absent supervisor
    /// isn't an error.
    /// @param newRequest  the request that made the change
    /// @param oldRequest  the request that undoes it, with its command; without a destination it gets this handler's
    ///                    path
    /// @param text        what was done, one line for people
    void sendUndo(const message& newRequest, message oldRequest, const std::string& text);

    /// Subscribes to the notifications `command` of another handler. They arrive at this handler's `handle`. The
    /// subscription lasts until unsubscribe: it is renewed when its owner appears or restarts. A second subscription
    /// with the same path, command and filter has no effect.
    /// @param path    of the owner
    /// @param filter  for the owner's shouldNotify
    void subscribe(std::span<const uint32_t> path, uint32_t command, const message& filter);
    /// Cancels the subscription with the same path, command and filter, if there is one.
    void unsubscribe(std::span<const uint32_t> path, uint32_t command, const message& filter);

    /// The handler's path in its looper; empty until it is added.
    [[nodiscard]] const std::vector<uint32_t>& path() const { return path_; }
    /// For the looper only.
    void setPath(std::span<const uint32_t> path) { path_.assign(path.begin(), path.end()); }
    policies& policySet() { return policies_; }

  private:
    void address(message& m, uint32_t command) const;

    std::vector<uint32_t> path_;
    policies policies_;
};

}  // namespace tn
