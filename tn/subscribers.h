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

/// Who wants notifications from the handlers of this process, and what still waits to reach them.
class Subscribers {
  public:
    explicit Subscribers(Bus& bus) : bus_(bus) {}

    /// Enters the sender of a subscribe request. @param from  nullptr: a handler of this process
    message add(Handler& owner, const message& request, ConnectionPtr from);
    message remove(Handler& owner, const message& request, const ConnectionPtr& from);
    void notify(Handler& owner, uint32_t command, const message& notification);

    void connectionLost(const ConnectionPtr& connection);
    void forget(Handler& handler);
    [[nodiscard]] bool empty() const { return byOwner_.empty(); }

    /// Notifications of these owners have left a queue.
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

    [[nodiscard]] bool exceedsShare(const Subscriber& added) const;
    void deliver(Handler& owner, const Subscriber& to, message notification);
    void runLocal();
    void reportSoon(Handler& owner);

    Bus& bus_;
    std::unordered_map<Handler*, std::vector<Subscriber>> byOwner_;
    std::unordered_map<Handler*, size_t> waiting_;  ///< notifications in queues
    std::vector<Handler*> reporting_;               ///< owners to be told from the loop that all is sent
    MergeQueue<LocalNote> local_;
};

}  // namespace tn
