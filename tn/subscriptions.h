#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <span>
#include <vector>

#include "tn/connections.h"
#include "tn/handler.h"
#include "tn/thin_runner.h"

namespace tn {

class Bus;

/// The notifications that handlers of this process asked others for. A subscription is kept until it is cancelled:
/// while its owner is missing, a timer looks for it after 100 ms, then after twice as long each time, up to 5 s.
class Subscriptions {
  public:
    explicit Subscriptions(Bus& bus) : bus_(bus) {}

    void add(Handler& subscriber, std::span<const uint32_t> path, uint32_t command, const message& filter);
    void remove(Handler& subscriber, std::span<const uint32_t> path, uint32_t command, const message& filter);

    /// Asks this owner for every subscription that isn't in force.
    void connected(uint32_t number, const ConnectionPtr& connection);
    void connectionLost(uint32_t number);
    void handlerAdded();
    /// The reply to a subscribe request. False when it is the reply to something else.
    bool applyReply(uint32_t requestId, const message& reply);
    /// Whether a notification from another process is one that its receiver asked for.
    [[nodiscard]] bool isWanted(const message& notification) const;

    void forget(const Handler& handler);
    [[nodiscard]] bool empty() const { return list_.empty(); }

  private:
    enum class State { Missing, Asked, InForce, Refused };
    struct Subscription {
        Handler* subscriber = nullptr;
        std::vector<uint32_t> path;
        uint32_t command = 0;
        message filter;
        State state = State::Missing;
        uint32_t request = 0;
        bool wasMissed = false;  ///< its owner is, or was, away
    };
    struct Search {
        ThinRunner::TimerId timer = 0;
        std::chrono::milliseconds delay{};  ///< from the last attempt to the next
    };

    [[nodiscard]] static message requestOf(const Subscription& subscription, uint32_t command);
    void establish(uint32_t number);
    void askHere(Subscription& subscription);
    void accepted(Subscription& subscription);
    void ask(Subscription& subscription, const ConnectionPtr& connection);
    void lookLater(uint32_t number);
    [[nodiscard]] bool isMissing(uint32_t number) const;
    void stopUnneeded();

    Bus& bus_;
    std::list<Subscription> list_;
    std::map<uint32_t, Search> searches_;
};

}  // namespace tn
