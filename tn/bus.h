#pragma once

#include <chrono>
#include <cstdint>
#include <span>

#include "tn/backlog.h"
#include "tn/connections.h"
#include "tn/exchange.h"
#include "tn/handler.h"
#include "tn/idle_exit.h"
#include "tn/replies.h"
#include "tn/subscribers.h"
#include "tn/subscriptions.h"

namespace tn {

class Looper;

/// Carries messages between the handlers of different processes over Unix SOCK_SEQPACKET sockets, without a broker. A
/// packet is one flattened message, or several: requests that are sent together, and the replies to them. The bus
/// routes a request or notification to its handler, and a reply to the exchange or subscription that it answers.
///
/// Requests are sent on connections that we dialled. Notifications that we subscribed to arrive on them, too.
class Bus final : private Connections::Events {
  public:
    /// @param looper  dispatches to the handlers of this process; must outlive this object
    explicit Bus(Looper& looper);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /// Opens the listening sockets: see BusListeners::open. False, with one line on standard error, if one can't be
    /// opened.
    bool listen(std::span<const uint32_t> numbers) { return connections_.listeners().open(numbers); }
    [[nodiscard]] bool isListening() { return connections_.listeners().isOpen(); }
    void numberAdded(uint32_t number);  ///< opens its socket if the process listens
    void handlerAdded() { subscriptions_.handlerAdded(); }
    void forget(Handler& handler);  ///< ends its subscriptions, and those of others to it
    /// Accepts nothing more, and handles the packets that have already reached this process.
    void drain();
    /// Closes all connections and listening sockets, and unlocks the numbers.
    void close();

    /// Sends to a handler of another process and doesn't wait. The destination isn't empty.
    /// @return empty if the message was sent or queued; else error::Unreachable, TimedOut or TooLarge
    message send(message m);
    /// Sends to handlers of one other process and waits for the replies: see Exchange::run. No destination is empty.
    std::vector<message> exchange(std::vector<message> requests, std::chrono::milliseconds timeout);
    /// See Exchange::sendAhead. Requests to this process aren't sent.
    void sendAhead(std::vector<message> requests);
    void dropAhead() { exchange_.dropAhead(); }
    /// Sends the replies to the packet being handled that are ready.
    void sendReplies() { replies_.send(); }
    void setBudget(std::chrono::milliseconds timeout) { exchange_.setBudget(timeout); }  ///< see Exchange::setBudget
    /// Dispatches to a handler of this process, with all rights. @return the reply
    message dispatchLocal(const message& m);

    /// Answers a subscribe or unsubscribe request to `owner` from the peer whose request is being handled.
    /// @param command  cmd::Subscribe or cmd::Unsubscribe
    message changeSubscriber(Handler& owner, const message& request, uint32_t command);
    /// Subscribers of this process's handlers.
    [[nodiscard]] Subscribers& subscribers() { return subscribers_; }
    /// Subscriptions of this process's handlers.
    [[nodiscard]] Subscriptions& subscriptions() { return subscriptions_; }

    /// Whether there is no exchange under way, no undelivered packet, no subscriber and no subscription.
    [[nodiscard]] bool isIdle() const;
    /// See Looper::setupLeave.
    void setupLeave(std::chrono::milliseconds idleTime) { idleExit_.setup(idleTime); }

    // For subscribers and subscriptions.
    [[nodiscard]] Looper& looper() { return looper_; }
    [[nodiscard]] Connections& connections() { return connections_; }
    /// A request id for a subscribe request, never that of an exchange.
    [[nodiscard]] uint32_t newRequestId() { return exchange_.newRequestId(); }

  private:
    void onDialled(uint32_t number, const ConnectionPtr& connection) override;
    void onAccepted() override { idleExit_.touch(); }
    void onReadable(const ConnectionPtr& connection) override;
    void onNotificationsGone(const std::vector<Handler*>& owners) override { subscribers_.passedOn(owners); }
    void onLost(const ConnectionPtr& connection) override;

    /// Receives a packet and routes its messages. False if none was received.
    bool routeNext(const ConnectionPtr& connection);
    /// Checks a message that has arrived, and delivers it.
    void route(const ConnectionPtr& connection, message& packet);
    void deliver(const ConnectionPtr& connection, message& packet);
    void handleRequest(const ConnectionPtr& connection, message& request);
    void handleReply(const message& reply);
    /// Whether the source of a message is genuine: subscribers trust it. On a connection that we dialled to a number,
    /// it must begin with that number. True for accepted connections.
    [[nodiscard]] static bool hasTrueSource(const Connection& connection, const message& request);
    /// The peer's rights; right::All for a notification that we subscribed to.
    [[nodiscard]] uint32_t rightsOf(const Connection& connection, const message& request) const;
    /// @param connection  where the message arrived; nullptr if it is from this process
    /// @return the handler's reply
    message dispatch(const ConnectionPtr* connection, const message& m, uint32_t rights);
    /// Sets the source if it is missing, and removes the fields that only the bus may set.
    void prepare(message& m) const;

    Looper& looper_;
    Connections connections_;
    Backlog backlog_;
    Exchange exchange_;
    Replies replies_;
    Subscribers subscribers_;
    Subscriptions subscriptions_;
    IdleExit idleExit_;
    const ConnectionPtr* current_ = nullptr;  ///< of the request being handled; nullptr if that is from this process
};

}  // namespace tn
