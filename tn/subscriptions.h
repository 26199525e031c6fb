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

/// Subscriptions of this process's handlers to notifications of owners, in this or other processes. A subscription
/// lasts until it is cancelled. While its owner is missing, it is requested again after 100 ms, then at intervals that
/// double up to 5 s. A refusal by another process is logged, and the subscription is requested again when that process
/// restarts. A refusal in this process is final.
class Subscriptions {
  public:
    /// @param bus  must outlive this object
    explicit Subscriptions(Bus& bus) : bus_(bus) {}

    /// See Handler::subscribe and unsubscribe.
    void add(Handler& subscriber, std::span<const uint32_t> path, uint32_t command, const message& filter);
    void remove(Handler& subscriber, std::span<const uint32_t> path, uint32_t command, const message& filter);

    /// To be called when there is a connection to this number: requests every missing subscription to it.
    void connected(uint32_t number, const ConnectionPtr& connection);
    /// To be called when the connection to this number is closed: its subscriptions are missing from now on.
    void connectionLost(uint32_t number);
    /// To be called when this process has a new handler, which may be a missing owner.
    void handlerAdded();
    /// Consumes the reply to a subscribe request. False if it isn't the reply to one.
    bool applyReply(uint32_t requestId, const message& reply);
    /// Whether a notification from another process is one that its receiver subscribed to.
    [[nodiscard]] bool isWanted(const message& notification) const;

    /// Drops the subscriptions of a handler that is being destroyed. The owners aren't notified; what they send finds
    /// no handler.
    void forget(const Handler& handler);
    [[nodiscard]] bool empty() const { return list_.empty(); }

  private:
    /// Missing: the owner is absent. Requested: the reply is outstanding.
    enum class State { Missing, Requested, InForce, Refused };
    /// One subscription. Its state changes with the connection to the owner, and with the owner's replies.
    struct Subscription {
        Handler* subscriber = nullptr;
        std::vector<uint32_t> path;
        uint32_t command = 0;
        message filter;
        State state = State::Missing;
        uint32_t request = 0;    ///< id of the subscribe request, while Requested
        bool wasMissed = false;  ///< the owner was missing, so the subscriber gets resubscribed()
    };
    /// The search for a missing owner.
    struct Search {
        ThinRunner::TimerId timer = 0;      ///< 0: not running
        std::chrono::milliseconds delay{};  ///< from the last attempt to the next
    };

    [[nodiscard]] static message requestOf(const Subscription& subscription, uint32_t command);
    /// Requests every missing subscription to this number, and schedules another attempt if one stays missing.
    void establish(uint32_t number);
    void requestHere(Subscription& subscription);
    void accepted(Subscription& subscription);
    void request(Subscription& subscription, const ConnectionPtr& connection);
    /// Starts the timer of the next attempt, unless it runs.
    void lookLater(uint32_t number);
    [[nodiscard]] bool isMissing(uint32_t number) const;
    /// Stops the searches for numbers without a missing subscription.
    void stopUnneeded();

    Bus& bus_;
    std::list<Subscription> list_;
    std::map<uint32_t, Search> searches_;  ///< by number
};

}  // namespace tn
