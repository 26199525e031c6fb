#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "tn/connections.h"
#include "tn/handler.h"
#include "tn/merge_queue.h"

namespace tn {

class Bus;

/// Subscribers of this process's handlers, and their pending notifications. A subscriber is a handler of another
/// process, reached over its connection, or one of this process, served from the loop.
class Subscribers {
  public:
    /// @param bus  must outlive this object
    explicit Subscribers(Bus& bus) : bus_(bus) {}

    /// Adds the sender of a subscribe request, and calls the owner's hook. A subscription that exists already has no
    /// effect and succeeds.
    /// @param from  the sender's connection; nullptr if it is a handler of this process
    /// @return empty; error::Refused beyond 4,096 subscribers of one owner or, for a connection without all rights,
    /// beyond 32 subscriptions or 16 KiB of them
    message add(Handler& owner, const message& request, ConnectionPtr from);
    /// Removes the sender of an unsubscribe request, and calls the owner's hook. Succeeds even if there is no such
    /// subscription.
    message remove(Handler& owner, const message& request, const ConnectionPtr& from);
    /// Sends a notification to each subscriber once, however many of the subscriber's filters it passes. Handlers of
    /// this process get it from the loop, never inside this call.
    void notify(Handler& owner, uint32_t command, const message& notification);

    /// Removes the subscribers of a connection, and calls their owners' hooks.
    void connectionLost(const ConnectionPtr& connection);
    /// Removes a handler that is being destroyed, as owner and as subscriber. No hook is called.
    void forget(Handler& handler);
    [[nodiscard]] bool empty() const { return byOwner_.empty(); }

    /// To be called when notifications have left a queue. An owner without any left gets notifiesSent from the loop.
    /// @param owners  one entry for each notification
    void passedOn(const std::vector<Handler*>& owners);

  private:
    struct Subscriber {
        uint32_t command = 0;
        std::vector<uint32_t> path;
        message filter;
        ConnectionPtr connection;  ///< nullptr: a handler of this process
        size_t octets = 0;         ///< size of the flattened subscribe request
    };
    struct LocalNote {
        std::vector<uint32_t> path;
        message notification;
    };

    /// Whether this subscriber would exceed the limits of a connection without all rights.
    [[nodiscard]] bool isBeyondShare(const Subscriber& added) const;
    void deliver(Handler& owner, const Subscriber& to, message notification);
    /// Delivers the notifications that wait for handlers of this process.
    void runLocal();
    /// Schedules the owner's notifiesSent, which is called unless one of its notifications waits by then.
    void reportSoon(Handler& owner);

    Bus& bus_;
    std::unordered_map<Handler*, std::vector<Subscriber>> byOwner_;
    std::unordered_map<Handler*, size_t> waiting_;  ///< number of queued notifications, by owner
    std::vector<Handler*> reporting_;               ///< owners whose notifiesSent is scheduled
    MergeQueue<LocalNote> local_;                   ///< notifications for handlers of this process
};

}  // namespace tn
