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

/// Subscriptions of this process's handlers to notifications of others, here or in other processes. A subscription
/// lasts until it is cancelled: while its owner is missing, a timer looks for it after 100 ms, then after twice as long
/// each time, up to 5 s. One that its owner refuses is reported in the log, and tried again when the owner restarts.
class Subscriptions {
  public:
    /// @param bus  must outlive this object
    explicit Subscriptions(Bus& bus) : bus_(bus) {}

    /// See Handler::subscribe and unsubscribe.
    void add(Handler& subscriber, std::span<const uint32_t> path, uint32_t command, const message& filter);
    void remove(Handler& subscriber, std::span<const uint32_t> path, uint32_t command, const message& filter);

    /// There is a connection to this number: requests every subscription to it that isn't in force.
    void connected(uint32_t number, const ConnectionPtr& connection);
    /// The connection to this number is closed: looks for its owner from now on.
    void connectionLost(uint32_t number);
    /// This process has a new handler, which may be one that is missing.
    void handlerAdded();
    /// Consumes the reply to a subscribe request. False when it is the reply to something else.
    bool applyReply(uint32_t requestId, const message& reply);
    /// Whether a notification from another process is one that its receiver subscribed to.
    [[nodiscard]] bool isWanted(const message& notification) const;

    /// Drops the subscriptions of a handler that is being destroyed. Their owners aren't notified: what they still send
    /// finds no handler.
    void forget(const Handler& handler);
    [[nodiscard]] bool empty() const { return list_.empty(); }

  private:
    enum class State { Missing, Requested, InForce, Refused };
    /// One subscription. Its state changes with the owner's connection and its replies.
    struct Subscription {
        Handler* subscriber = nullptr;
        std::vector<uint32_t> path;
        uint32_t command = 0;
        message filter;
        State state = State::Missing;
        uint32_t request = 0;    ///< id of the subscribe request, while Requested
        bool wasMissed = false;  ///< its owner is, or was, away: the subscriber gets resubscribed
    };
    /// The search for a missing owner.
    struct Search {
        ThinRunner::TimerId timer = 0;      ///< 0: not running
        std::chrono::milliseconds delay{};  ///< from the last attempt to the next
    };

    [[nodiscard]] static message requestOf(const Subscription& subscription, uint32_t command);
    /// Requests every missing subscription to this number, and looks for its owner later if that fails.
    void establish(uint32_t number);
    void requestHere(Subscription& subscription);
    void accepted(Subscription& subscription);
    void request(Subscription& subscription, const ConnectionPtr& connection);
    /// Starts the timer that looks for the owner again, unless it runs.
    void lookLater(uint32_t number);
    [[nodiscard]] bool isMissing(uint32_t number) const;
    /// Stops looking for owners that are there, or that no subscription needs any more.
    void stopUnneeded();

    Bus& bus_;
    std::list<Subscription> list_;
    std::map<uint32_t, Search> searches_;  ///< by number
};

}  // namespace tn
