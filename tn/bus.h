#pragma once

#include <chrono>
#include <cstdint>
#include <span>

#include "tn/backlog.h"
#include "tn/connections.h"
#include "tn/exchange.h"
#include "tn/handler.h"
#include "tn/idle_exit.h"
#include "tn/subscribers.h"
#include "tn/subscriptions.h"

namespace tn {

class Looper;

/// The way to the handlers of other processes, and theirs to ours: Unix SOCK_SEQPACKET sockets, one packet a flattened
/// message, no broker in between. It routes each packet to the part that it is for: a request or notification to its
/// handler, a reply to the exchange or subscription that it answers.
///
/// Requests are sent on connections that we dialled, and notifications that we subscribed to come back on them.
class Bus final : private Connections::Events {
  public:
    /// @param looper  dispatches to the handlers of this process; must outlive this object
    explicit Bus(Looper& looper);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /// Opens the listening sockets, as BusListeners::open does. False, with one line on standard error, when one can't
    /// be had.
    bool listen(std::span<const uint32_t> numbers) { return connections_.listeners().open(numbers); }
    [[nodiscard]] bool isListening() { return connections_.listeners().isOpen(); }
    void numberAdded(uint32_t number);  ///< listens for it, too, if the process listens
    void handlerAdded() { subscriptions_.handlerAdded(); }
    void forget(Handler& handler);  ///< ends its subscriptions, and those to it
    /// Serves what has reached this process already, and accepts nothing more.
    void drain();
    /// Loses all connections and gives up the numbers.
    void close();

    /// Sends one way to a handler of another process. The destination isn't empty.
    /// @return an error when it couldn't be handed over; else an empty message
    message send(message m);
    /// Sends to a handler of another process and waits: see Exchange::run. The destination isn't empty.
    message exchange(message m, std::chrono::milliseconds timeout);
    void setBudget(std::chrono::milliseconds timeout) { exchange_.setBudget(timeout); }  ///< see Exchange::setBudget
    /// Calls a handler of this process, with all rights.
    message dispatchLocal(const message& m);

    /// Serves a subscribe or unsubscribe request to `owner`, for the peer whose request is being handled.
    message changeSubscriber(Handler& owner, const message& request, uint32_t command);
    /// Of handlers of this process.
    [[nodiscard]] Subscribers& subscribers() { return subscribers_; }
    /// Of handlers of this process, to others.
    [[nodiscard]] Subscriptions& subscriptions() { return subscriptions_; }

    /// Nothing is under way: no exchange, no undelivered packet, no subscriber and no subscription.
    [[nodiscard]] bool isIdle() const;
    /// See Looper::setupLeave.
    void setupLeave(std::chrono::milliseconds idleTime) { idleExit_.setup(idleTime); }

    // For subscribers and subscriptions.
    [[nodiscard]] Looper& looper() { return looper_; }
    [[nodiscard]] Connections& connections() { return connections_; }
    /// For subscribe requests: never the id of an exchange.
    [[nodiscard]] uint32_t newRequestId() { return exchange_.newRequestId(); }

  private:
    void onDialled(uint32_t number, const ConnectionPtr& connection) override;
    void onAccepted() override { idleExit_.touch(); }
    void onReadable(const ConnectionPtr& connection) override;
    void onNotificationsGone(const std::vector<Handler*>& owners) override { subscribers_.passedOn(owners); }
    void onLost(const ConnectionPtr& connection) override;

    /// A packet has arrived: checks and delivers it.
    void route(const ConnectionPtr& connection, message& packet);
    void deliver(const ConnectionPtr& connection, message& packet);
    void handleRequest(const ConnectionPtr& connection, message& request);
    void handleReply(const message& reply);
    /// Consumers of notifications trust the source: a message on a connection to a number must come from that number.
    [[nodiscard]] static bool hasTrueSource(const Connection& connection, const message& request);
    /// The peer's rights; all of them for a notification that we subscribed to.
    [[nodiscard]] uint32_t rightsOf(const Connection& connection, const message& request) const;
    /// @param connection  that the message arrived on; nullptr: from this process
    message dispatch(const ConnectionPtr* connection, const message& m, uint32_t rights);
    /// Sends a reply, or an error in place of one that is too large. A connection that can't be replied to is lost.
    void reply(const ConnectionPtr& connection, uint32_t requestId, message answer);
    /// Sets the source, and removes what only the bus may set.
    void prepare(message& m) const;

    Looper& looper_;
    Connections connections_;
    Backlog backlog_;
    Exchange exchange_;
    Subscribers subscribers_;
    Subscriptions subscriptions_;
    IdleExit idleExit_;
    const ConnectionPtr* current_ = nullptr;  ///< its request is being handled; nullptr: one from this process
};

}  // namespace tn
