#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "tn/backlog.h"
#include "tn/connections.h"

namespace tn {

/// Requests to other processes that wait for their reply. An exchange blocks the loop's thread until the reply comes,
/// the peer dies or the timeout passes; other packets that arrive meanwhile go into the backlog.
///
/// A peer that lets a timeout pass owes the reply. Until it comes, its connection ends or 30 s pass, further exchanges
/// with the same process fail at once, whatever number they address: a process handles one message at a time, so one
/// that hangs blocks all of its numbers.
class Exchange {
  public:
    /// Both must outlive this object.
    Exchange(Connections& connections, Backlog& backlog) : connections_(connections), backlog_(backlog) {}
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    /// Sends a request and waits for the reply. It is sent a second time when the peer provably hasn't read it, perhaps
    /// to the process that has taken its place.
    /// @param request  with destination and source; gets its request id here
    /// @return the reply, which may be empty, or an error: Unreachable, TimedOut or TooLarge
    message run(message request, std::chrono::milliseconds timeout);
    [[nodiscard]] bool isRunning() const { return running_ > 0; }

    /// Sets one timeout for all exchanges from now on, counted from the start of the first one. 0 removes it: each
    /// exchange then has only its own timeout.
    void setBudget(std::chrono::milliseconds timeout);

    /// To be called with each reply that isn't the one awaited. Its destination becomes the handler whose exchange gave
    /// up on it, or none.
    void settle(const ConnectionPtr& from, message& reply);

    [[nodiscard]] uint32_t newRequestId();  ///< never 0

  private:
    using Time = std::chrono::milliseconds;  ///< as sinceBoot

    struct Call {
        uint32_t number;  ///< first element of the destination
        uint32_t id;      ///< request id
        const message& request;
        Time deadline;
    };
    /// A reply that an exchange gave up waiting for.
    struct Debt {
        ConnectionPtr debtor;
        uint32_t id = 0;               ///< request id
        std::vector<uint32_t> source;  ///< path of the handler that waits for it
        Time until{};
    };

    /// Deadline of an exchange that begins now: its own or that of the budget.
    [[nodiscard]] Time deadlineOf(std::chrono::milliseconds timeout);
    /// Sends and waits, on this connection. @return nothing when the peer is gone and hasn't read the request
    std::optional<message> attempt(const ConnectionPtr& connection, const Call& call);
    /// Sends the request, and waits until the deadline for room. Blocked marks the connection as stuck: there is no
    /// second wait before a request gets through.
    Sent sendWaiting(const ConnectionPtr& connection, Time deadline);
    /// @return nothing when the peer is gone and hasn't read the request
    std::optional<message> awaitReply(const ConnectionPtr& connection, const Call& call);
    /// Receives packets up to the reply. @return Nothing or Interrupted when the deadline has passed
    Received receiveReply(const ConnectionPtr& connection, const Call& call, message& reply);

    /// Reads what debtors have sent, and strikes the debts that are settled or have expired.
    void collectDebts();
    /// If the pid is unknown (0: another pid namespace), only the debtor's own connection counts.
    [[nodiscard]] bool isIndebted(const Connection& connection) const;
    /// Adds a packet to the backlog. False, with a line in the log, when that is full.
    bool setAside(const ConnectionPtr& connection, message packet);
    /// Reads what has arrived, without waiting. The end of the connection, a bad packet and a full backlog lose it.
    void setAsideAll(const ConnectionPtr& connection);
    /// What the peer sent before it went isn't lost with it.
    void loseAfterReading(const ConnectionPtr& connection);

    Connections& connections_;
    Backlog& backlog_;
    flat_message out_;  ///< the request of the exchange under way, flattened
    uint32_t lastRequest_ = 0;
    unsigned running_ = 0;                ///< exchanges that await a reply, each inside the one before
    std::chrono::milliseconds budget_{};  ///< 0: none
    Time budgetEnd_{};                    ///< 0 before the first exchange
    std::vector<Debt> debts_;             ///< at most one for each connection
};

}  // namespace tn
