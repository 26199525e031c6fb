#include "tn/exchange.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "tn/fields.h"
#include "tn/log.h"
#include "tn/sources.h"

namespace tn {

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::seconds kDebtTerm{30};
constexpr int kMaxDials = 2;

std::string about(uint32_t number, const char* what) { return "bus: " + std::to_string(number) + ": " + what; }

std::chrono::milliseconds remaining(std::chrono::milliseconds deadline) {
    return std::max(deadline - sinceBoot(), 0ms);
}

}  // namespace

uint32_t Exchange::newRequestId() {
    if (++lastRequest_ == 0) ++lastRequest_;
    return lastRequest_;
}

void Exchange::setBudget(std::chrono::milliseconds timeout) {
    budget_ = timeout;
    budgetEnd_ = 0ms;
}

Exchange::Time Exchange::deadlineOf(std::chrono::milliseconds timeout) {
    const Time now = sinceBoot();
    if (budget_ == 0ms) return now + timeout;
    if (budgetEnd_ == 0ms) budgetEnd_ = now + budget_;
    return std::min(now + timeout, budgetEnd_);
}

message Exchange::run(message request, std::chrono::milliseconds timeout) {
    const uint32_t number = request.get_u32_array(field::Destination).front();
    const Call call{.number = number, .id = newRequestId(), .request = request, .deadline = deadlineOf(timeout)};
    if (budget_ != 0ms && remaining(budgetEnd_) == 0ms)
        return errorMsg(error::TimedOut, about(number, "not queried, the request's time is used up"));
    request.insert_u32(field::RequestId, call.id);
    out_.clear();
    request.flattenTo(out_);

    // A connection that was open already and died while it was idle doesn't count.
    for (int dials = 0; dials < kMaxDials;) {
        ConnectionPtr connection = connections_.find(number);
        if (!connection) {
            ++dials;
            connection = connections_.dial(number, std::max(remaining(call.deadline), 1ms));
        }
        if (!connection) return connections_.dialError(number);
        if (std::optional<message> answer = attempt(connection, call)) return std::move(*answer);
    }
    errno = ECONNRESET;
    return connections_.dialError(number);
}

std::optional<message> Exchange::attempt(const ConnectionPtr& connection, const Call& call) {
    collectDebts();
    if (isIndebted(*connection))
        return errorMsg(error::TimedOut, about(call.number, "an earlier reply is outstanding"));
    switch (sendWaiting(connection, call.deadline)) {
        case Sent::Yes:
            return awaitReply(connection, call);
        case Sent::TooLarge:
            return errorMsg(error::TooLarge, about(call.number, "the request doesn't fit"));
        case Sent::Blocked:
            return errorMsg(error::TimedOut, about(call.number, "doesn't read its requests"));
        case Sent::Gone:
            break;
    }
    return {};
}

Sent Exchange::sendWaiting(const ConnectionPtr& connection, Time deadline) {
    for (;;) {
        if (connection->hasQueue()) connections_.flush(connection);
        if (connection->isClosed()) return Sent::Gone;
        const Sent sent = connection->sendInTurn(out_);
        if (sent == Sent::Gone) loseAfterReading(connection);
        const Time wait = remaining(deadline);
        if (sent != Sent::Blocked || connection->stuck || wait == 0ms) {
            connection->stuck = sent == Sent::Blocked;
            return sent;
        }
        // Packets are read meanwhile: the peer may be waiting for room in the other direction.
        pollfd socket = {.fd = connection->fd(), .events = POLLOUT | POLLIN, .revents = 0};
        const int milliseconds = static_cast<int>(std::min<int64_t>(wait.count(), INT32_MAX));
        if (poll(&socket, 1, milliseconds) > 0 && (socket.revents & POLLIN) != 0) setAsideAll(connection);
    }
}

std::optional<message> Exchange::awaitReply(const ConnectionPtr& connection, const Call& call) {
    message reply;
    switch (receiveReply(connection, call, reply)) {
        case Received::Packet:
            reply.remove(field::ReplyTo);
            return reply;
        case Received::Nothing:
        case Received::Interrupted:
            debts_.push_back({.debtor = connection,
                              .id = call.id,
                              .source = call.request.get_u32_array(field::Source),
                              .until = sinceBoot() + kDebtTerm});
            return errorMsg(error::TimedOut, about(call.number, "no answer"));
        case Received::Unread:
            loseAfterReading(connection);
            return {};
        case Received::Bad:
            serr << about(call.number, "sends bad packets, connection closed");
            break;
        case Received::Ended:
            break;
    }
    connections_.lose(connection);
    return errorMsg(error::Unreachable, about(call.number, "disconnected before it replied"));
}

Received Exchange::receiveReply(const ConnectionPtr& connection, const Call& call, message& reply) {
    ++running_;
    Received received = Received::Nothing;
    for (Time wait = remaining(call.deadline); wait > 0ms; wait = remaining(call.deadline)) {
        connection->setReceiveTimeout(wait);
        message packet;
        received = connection->receive(connections_.buffer(), /*wait=*/true, packet);
        if (received == Received::Interrupted) continue;
        const bool isReply = received == Received::Packet && packet.get_u32(field::ReplyTo) == call.id;
        if (isReply) {
            reply = std::move(packet);
            break;
        }
        if (received != Received::Packet) break;
        received = setAside(connection, std::move(packet)) ? Received::Nothing : Received::Ended;
        if (received == Received::Ended) break;
    }
    --running_;
    return received;
}

// --- late replies ----------------------------------------------------------------------------------------------------

void Exchange::collectDebts() {
    if (debts_.empty()) return;
    for (const Debt& debt : std::vector<Debt>(debts_)) setAsideAll(debt.debtor);
    std::erase_if(debts_,
                  [now = sinceBoot()](const Debt& debt) { return debt.debtor->isClosed() || now >= debt.until; });
}

bool Exchange::isIndebted(const Connection& connection) const {
    const pid_t pid = connection.peer().pid;
    return std::ranges::any_of(debts_, [&](const Debt& debt) {
        return debt.debtor.get() == &connection || (pid != 0 && debt.debtor->peer().pid == pid);
    });
}

void Exchange::settle(const ConnectionPtr& from, message& reply) {
    reply.remove(field::Destination);
    const auto settled = std::ranges::find_if(
        debts_, [&](const Debt& debt) { return debt.debtor == from && debt.id == reply.get_u32(field::ReplyTo); });
    if (settled == debts_.end()) return;
    reply.insert_u32_array(field::Destination, settled->source);
    debts_.erase(settled);
}

// --- what arrives meanwhile ------------------------------------------------------------------------------------------

bool Exchange::setAside(const ConnectionPtr& connection, message packet) {
    if (packet.has(field::ReplyTo)) settle(connection, packet);
    if (backlog_.add(connection, std::move(packet), connection->lastPacket())) return true;
    serr << about(*connection->dialled(), "sends more than can be queued, connection closed");
    return false;
}

void Exchange::setAsideAll(const ConnectionPtr& connection) {
    while (!connection->isClosed()) {
        message packet;
        const Received received = connection->receive(connections_.buffer(), /*wait=*/false, packet);
        if (received == Received::Nothing) return;
        if (received == Received::Interrupted || received == Received::Unread)
            continue;  // reported once, packets follow
        if (received != Received::Packet || !setAside(connection, std::move(packet))) connections_.lose(connection);
    }
}

void Exchange::loseAfterReading(const ConnectionPtr& connection) {
    setAsideAll(connection);
    connections_.lose(connection);
}

}  // namespace tn
