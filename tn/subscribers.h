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

    /// Adds the sender of a subscribe request, and calls the owner's hook. A subscription that exists already succeeds
    /// without effect.
    /// @param from  its connection; nullptr: a handler of this process
    /// @return empty; error::Refused past 4,096 subscribers of one owner and, for a connection without all rights, past
    ///         32 subscriptions or 16 KiB of them
    message add(Handler& owner, const message& request, ConnectionPtr from);
    /// Removes the sender of an unsubscribe request, and calls the owner's hook. Always succeeds.
    message remove(Handler& owner, const message& request, const ConnectionPtr& from);
    /// Sends a notification to each subscriber once, however many of its filters it passes. Delivery never runs inside
    /// the notifier's call.
    void notify(Handler& owner, uint32_t command, const message& notification);

    /// Removes the subscribers behind a connection, and calls their owners' hooks.
    void connectionLost(const ConnectionPtr& connection);
    /// Removes a handler that is being destroyed, as owner and as subscriber. No hook is called.
    void forget(Handler& handler);
    [[nodiscard]] bool empty() const { return byOwner_.empty(); }

    /// To be called when notifications have left a connection's queue. An owner with none left gets notifiesSent.
    /// @param owners  one entry for each notification
    void passedOn(const std::vector<Handler*>& owners);

  private:
    struct Subscriber {
        uint32_t command = 0;
        std::vector<uint32_t> path;
        message filter;
        ConnectionPtr connection;
        size_t octets = 0;  ///< of the request that made it, flattened
    };
    struct LocalNote {
        std::vector<uint32_t> path;
        message notification;
    };

    /// Whether one more would exceed what a connection without all rights may hold.
    [[nodiscard]] bool isBeyondShare(const Subscriber& added) const;
    void deliver(Handler& owner, const Subscriber& to, message notification);
    /// Delivers what waits for handlers of this process.
    void runLocal();
    /// Calls the owner's notifiesSent from the loop, if none of its notifications waits by then.
    void reportSoon(Handler& owner);

    Bus& bus_;
    std::unordered_map<Handler*, std::vector<Subscriber>> byOwner_;
    std::unordered_map<Handler*, size_t> waiting_;  ///< notifications in queues, by owner
    std::vector<Handler*> reporting_;               ///< owners that get notifiesSent from the loop
    MergeQueue<LocalNote> local_;                   ///< for handlers of this process
};

}  // namespace tn
