#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "tn/backlog.h"
#include "tn/burst.h"
#include "tn/connections.h"

namespace tn {

/// Sends requests to other processes and waits for the replies. An exchange blocks the loop's thread until the reply
/// arrives, the peer closes the connection or the timeout passes. Other packets that arrive meanwhile go into the
/// backlog.
///
/// After a timeout, the peer has a reply outstanding (a debt). All exchanges with that process then fail at once, until
/// the reply arrives, the connection ends or 30 s pass. This holds for all numbers of the process: it handles one
/// message at a time, so when it hangs, none of them answers.
class Exchange {
  public:
    /// Both arguments must outlive this object.
    Exchange(Connections& connections, Backlog& backlog) : connections_(connections), backlog_(backlog) {}
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    /// Sends requests to one number and returns their replies. As many requests as the socket has room for are sent
    /// before the first reply is awaited. When the peer closes the connection, the requests that it certainly hasn't
    /// read are sent again on a new connection, perhaps to the process that has replaced the peer. A run opens at most
    /// two connections.
    /// @param requests  at least one, with destination and source; run adds the request ids
    /// @param timeout   for all of them together
    /// @return for each request, in their order, its reply, which may be empty; or error::Unreachable, TimedOut or
    ///         TooLarge
    std::vector<message> run(std::vector<message> requests, std::chrono::milliseconds timeout);
    [[nodiscard]] bool isRunning() const { return running_ > 0; }

    /// Sends requests before their exchanges, those to one number in one packet: one round trip serves all. A later run
    /// of an equal request returns the reply; each reply is returned once. Only for requests that change nothing. One
    /// that can't be sent at once is left to its exchange: if there is no connection or no room, or an earlier reply is
    /// outstanding.
    /// @param requests  as for run, to any numbers
    void sendAhead(std::vector<message> requests);
    /// Forgets the requests sent ahead. Replies that are still to come are ignored.
    void dropAhead() { ahead_.clear(); }
    /// Whether the reply to a request sent ahead has arrived, so that its run doesn't wait.
    [[nodiscard]] bool isAnsweredAhead(const message& request);

    /// Sets one timeout that all exchanges from now on share, counted from the start of the first. Their separate
    /// timeouts remain in force. 0 removes the shared one.
    void setBudget(std::chrono::milliseconds timeout);

    /// To be called with each reply that isn't awaited. If it settles a debt, its destination becomes the handler whose
    /// exchange timed out. Otherwise its destination is removed.
    void settle(const ConnectionPtr& from, message& reply);

    [[nodiscard]] uint32_t newRequestId();  ///< never 0

  private:
    using Time = Burst::Time;

    /// A reply that is outstanding after its exchange timed out.
    struct Debt {
        ConnectionPtr debtor;
        uint32_t id = 0;               ///< request id
        std::vector<uint32_t> source;  ///< path of the handler that sent the request
        Time until{};                  ///< when the debt expires
    };

    /// A request that was sent before its exchange.
    struct Ahead {
        ConnectionPtr connection;
        message request;  ///< without the request id
        uint32_t id = 0;
        std::optional<message> reply;
    };

    /// Sends requests to one number ahead, in one packet. None is sent if that isn't possible at once.
    void sendTogether(const ConnectionPtr& connection, std::span<message> requests);
    /// The first request sent ahead that equals this one, unless its peer has a debt.
    [[nodiscard]] std::vector<Ahead>::iterator findAhead(const message& request);
    /// The same, removed from those sent ahead. Nothing for several requests.
    [[nodiscard]] std::optional<Ahead> takeAhead(const std::vector<message>& requests);
    /// Exchanges the only request of a burst, which was sent ahead.
    void finish(Ahead ahead, Burst& burst);
    /// Stores a packet that is the reply to a request sent ahead. False for any other packet.
    [[nodiscard]] bool storeAhead(const ConnectionPtr& connection, message& packet);
    // Of the requests on this connection without a reply, these leave the last one or all to their exchanges.
    bool forgetLast(const ConnectionPtr& connection);  ///< false if there is none
    void forgetUnanswered(const ConnectionPtr& connection);

    /// Deadline of an exchange that begins now: the end of its timeout or of the budget, whichever is earlier.
    [[nodiscard]] Time deadlineOf(std::chrono::milliseconds timeout);
    /// Sends the requests on this connection and waits for their replies. Those that have no reply afterwards are to be
    /// sent again: the peer is gone and hasn't read them.
    void attempt(const ConnectionPtr& connection, Burst& burst);
    /// Sends requests until all are sent or there is no room, and waits for room only while no reply is outstanding.
    /// False if the peer is gone and no reply is outstanding.
    bool sendMore(const ConnectionPtr& connection, Burst& burst);
    /// Sends the request in out_, and waits for room until the deadline. If there is none by then, the connection is
    /// stuck: from then on, a request that finds no room fails at once. The first one that is sent ends this.
    Sent sendWaiting(const ConnectionPtr& connection, Time deadline);
    /// Waits for one reply. False if the exchange on this connection is over; no reply is outstanding then.
    bool awaitReply(const ConnectionPtr& connection, Burst& burst);
    /// Receives packets up to and including a reply.
    /// @return Packet after a reply; Nothing or Interrupted after the deadline; Ended also if the backlog is full
    Received receiveReply(const ConnectionPtr& connection, Burst& burst);

    /// Receives what the debtors have sent, and removes the debts that are settled or have expired.
    void collectDebts();
    /// Whether the peer has a debt, on this or another connection. If its pid is unknown (0, in another pid namespace),
    /// only this connection counts.
    [[nodiscard]] bool isIndebted(const Connection& connection) const;
    /// Adds a packet to the backlog, unless it is the reply to a request sent ahead. False, with a line in the log, if
    /// the backlog is full.
    bool setAside(const ConnectionPtr& connection, message packet);
    /// Moves the packets that have arrived to the backlog, without waiting. The end of the connection, a bad packet or
    /// a full backlog closes it.
    void setAsideAll(const ConnectionPtr& connection);
    /// Closes the connection after moving the packets that have arrived to the backlog.
    void loseAfterReading(const ConnectionPtr& connection);

    Connections& connections_;
    Backlog& backlog_;
    flat_message out_;  ///< the request being sent, flattened
    uint32_t lastRequest_ = 0;
    unsigned running_ = 0;                ///< nested exchanges that await a reply
    std::chrono::milliseconds budget_{};  ///< 0: none
    Time budgetEnd_{};                    ///< 0 until the first exchange within the budget
    std::vector<Debt> debts_;             ///< at most one for each connection
    std::vector<Ahead> ahead_;            ///< in the order of sending
};

}  // namespace tn
