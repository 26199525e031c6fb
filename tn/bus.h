#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <unordered_map>
#include <vector>

#include "tn/bus_listeners.h"
#include "tn/connection.h"
#include "tn/handler.h"
#include "tn/merge_queue.h"
#include "tn/subscribers.h"
#include "tn/subscriptions.h"
#include "tn/thin_runner.h"

namespace tn {

class Looper;

/// The way to the handlers of other processes, and theirs to ours: Unix SOCK_SEQPACKET sockets, one packet a flattened
/// message, no broker in between. A process dials a number on first use and keeps the connection. Requests go out on
/// the connections that we dialled, and the notifications that we asked for come back on them.
class Bus {
  public:
    explicit Bus(Looper& looper);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    bool listen(std::span<const uint32_t> numbers) { return listeners_.open(numbers); }
    [[nodiscard]] bool listening() const { return listeners_.isOpen(); }
    void numberAdded(uint32_t number);
    void handlerAdded() { subscriptions_.handlerAdded(); }
    void forget(Handler& handler);
    /// Serves what has reached this process already; callers with more get through to the next process, or an error.
    void drain();
    void close();

    /// To a handler of another process. The destination isn't empty.
    message send(message m);
    message exchange(message m, std::chrono::milliseconds timeout);
    /// One timeout, counted from the next exchange, for it and all after it; 0: each has its own timeout.
    void setBudget(std::chrono::milliseconds timeout);
    /// To a handler of this process, on its own behalf.
    message dispatchLocal(const message& m);

    message changeSubscriber(Handler& owner, const message& request, uint32_t command);
    void notify(Handler& owner, uint32_t command, const message& notification);
    void subscribe(Handler& handler, std::span<const uint32_t> path, uint32_t command, const message& filter);
    void unsubscribe(Handler& handler, std::span<const uint32_t> path, uint32_t command, const message& filter);

    [[nodiscard]] bool idle() const;
    void setupLeave(std::chrono::milliseconds idleTime);

    // What subscribers and subscriptions need.
    [[nodiscard]] Looper& looper() { return looper_; }
    [[nodiscard]] bool servesHere(uint32_t number) const;
    [[nodiscard]] uint32_t newRequestId() { return ++lastRequest_ == 0 ? ++lastRequest_ : lastRequest_; }
    /// The connection to a number, made when there is none. nullptr, errno set, when that fails.
    std::shared_ptr<Connection> dial(uint32_t number, std::chrono::milliseconds timeout);
    /// Sends or lines up. False when the connection is lost or its queue full.
    bool sendPacket(const std::shared_ptr<Connection>& connection, flat_message packet);
    /// True when it was added to the connection's queue: not sent yet, nor merged.
    bool sendNotification(const std::shared_ptr<Connection>& connection, NoteKey key, const message& notification);

  private:
    using Link = std::shared_ptr<Connection>;
    struct Kept {
        Link connection;
        message packet;
        size_t octets = 0;
    };

    [[nodiscard]] std::span<uint8_t> buffer() const { return {buffer_.get(), kMaxPacket}; }
    void accepted(Descriptor socket, gid_t group);
    void onEvents(const Link& connection, unsigned events);
    void readOne(const Link& connection);
    void flush(const Link& connection);
    void watch(const Link& connection);
    void lose(const Link& link);
    void loseSoon(const Link& connection);
    void loseAfterReading(const Link& connection);

    void handlePacket(const Link& connection, message& packet);
    void handleRequest(const Link& connection, message& request);
    static void settle(Connection& connection, message& reply);
    void handleReply(const message& reply);
    void reply(const Link& connection, uint32_t requestId, message answer);
    [[nodiscard]] static bool checkSource(const Connection& connection, const message& request);
    void prepare(message& m) const;

    Sent sendWaiting(const Link& connection, std::chrono::milliseconds deadline);
    Received awaitReply(const Link& connection, uint32_t requestId, std::chrono::milliseconds deadline,
                        message& answer);
    [[nodiscard]] std::chrono::milliseconds deadlineOf(std::chrono::milliseconds timeout);
    bool stillOwes(const Connection& asked);
    void takeWaiting(const Link& connection);
    bool keep(const Link& connection, message packet);
    void runKept();

    message nobodyThere(uint32_t number);
    void touch();
    void armLeave(std::chrono::milliseconds delay);
    void tryLeave();
    [[nodiscard]] bool requestsWait() const;

    Looper& looper_;
    BusListeners listeners_;
    Subscribers subscribers_;
    Subscriptions subscriptions_;
    std::map<uint32_t, Link> dialled_;
    std::unordered_map<int, Link> accepted_;
    size_t restricted_ = 0;          ///< accepted connections of callers without all rights
    const Link* current_ = nullptr;  ///< connection whose request is being handled; nullptr for one from this process
    std::unique_ptr<uint8_t[]> buffer_;  ///< kMaxPacket octets for a received packet, untouched until one is that large
    flat_message out_;                   ///< the request of the exchange under way
    uint32_t lastRequest_ = 0;
    unsigned exchanges_ = 0;                 ///< under way, one inside the other
    std::chrono::milliseconds budget_{};     ///< 0: none
    std::chrono::milliseconds budgetEnd_{};  ///< as sinceBoot; 0 before the first exchange
    std::vector<Link> debtors_;              ///< connections that owe a reply; may include settled and closed ones

    MergeQueue<Kept> kept_;  ///< came while an exchange waited for something else, in order
    size_t keptOctets_ = 0;

    std::set<uint32_t> absent_;  ///< numbers reported as having nobody there
    bool crowded_ = false;

    std::chrono::milliseconds leaveAfter_{};  ///< 0: stay
    std::chrono::milliseconds lastUse_{};     ///< as sinceBoot
    ThinRunner::TimerId leaveTimer_ = 0;
};

}  // namespace tn
