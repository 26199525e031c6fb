#include "tn/exchange.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "tn/fields.h"
#include "tn/log.h"
#include "tn/sources.h"

namespace tn {

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::seconds kDebtTerm{30};
constexpr int kMaxDials = 2;
constexpr const char* kDisconnected = "disconnected before it replied";

std::string about(uint32_t number, const char* what) { return "bus: " + std::to_string(number) + ": " + what; }

uint32_t numberOf(const message& request) { return request.get_u32_array(field::Destination).front(); }

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

std::vector<message> Exchange::run(std::vector<message> requests, std::chrono::milliseconds timeout) {
    const uint32_t number = numberOf(requests.front());
    std::optional<Ahead> ahead = takeAhead(requests);
    for (message& request : requests) request.insert_u32(field::RequestId, ahead ? ahead->id : newRequestId());
    Burst burst(number, std::move(requests), deadlineOf(timeout));
    if (budget_ != 0ms && remaining(budgetEnd_) == 0ms)
        burst.failAll(errorMsg(error::TimedOut, about(number, "not queried, the request's time is used up")));
    if (ahead) finish(std::move(*ahead), burst);

    // A connection that was open already and died while it was idle doesn't count.
    for (int dials = 0; burst.nextToSend() != nullptr && dials < kMaxDials;) {
        ConnectionPtr connection = connections_.find(number);
        if (!connection) {
            ++dials;
            connection = connections_.dial(number, std::max(remaining(burst.deadline()), 1ms));
        }
        if (!connection) {
            burst.failAll(connections_.dialError(number));
            return burst.replies();
        }
        attempt(connection, burst);
    }
    errno = ECONNRESET;
    if (burst.nextToSend() != nullptr) burst.failAll(connections_.dialError(number));
    return burst.replies();
}

void Exchange::attempt(const ConnectionPtr& connection, Burst& burst) {
    collectDebts();
    if (isIndebted(*connection))
        return burst.failAll(errorMsg(error::TimedOut, about(burst.number(), "an earlier reply is outstanding")));
    do {
        if (!sendMore(connection, burst)) return;
    } while (burst.outstanding() > 0 && awaitReply(connection, burst));
}

bool Exchange::sendMore(const ConnectionPtr& connection, Burst& burst) {
    while (Burst::Call* call = burst.nextToSend()) {
        out_.clear();
        call->request.flattenTo(out_);
        const bool mayWait = burst.outstanding() == 0;
        switch (mayWait ? sendWaiting(connection, burst.deadline()) : connection->sendInTurn(out_)) {
            case Sent::Yes:
                burst.markSent(*call);
                break;
            case Sent::TooLarge:
                burst.answer(*call, errorMsg(error::TooLarge, about(burst.number(), "the request doesn't fit")));
                break;
            case Sent::Blocked:
                if (mayWait)
                    burst.failAll(errorMsg(error::TimedOut, about(burst.number(), "doesn't read its requests")));
                return true;
            case Sent::Gone:
                return burst.outstanding() > 0;  // what it replied before it went is still received
        }
    }
    return true;
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

bool Exchange::awaitReply(const ConnectionPtr& connection, Burst& burst) {
    switch (receiveReply(connection, burst)) {
        case Received::Packet:
            return true;
        case Received::Nothing:
        case Received::Interrupted: {
            forgetUnanswered(connection);
            const Burst::Call& last = burst.lastOutstanding();
            debts_.push_back({.debtor = connection,
                              .id = last.request.get_u32(field::RequestId),
                              .source = last.request.get_u32_array(field::Source),
                              .until = sinceBoot() + kDebtTerm});
            burst.failAll(errorMsg(error::TimedOut, about(burst.number(), "no answer")));
            return false;
        }
        case Received::Unread:
            // It may have read the first ones: their replies follow.
            if (burst.outstanding() > 1 || forgetLast(connection)) return true;
            loseAfterReading(connection);
            burst.takeBackSent();
            return false;
        case Received::Bad:
            swarn << about(burst.number(), "sends bad packets, connection closed");
            break;
        case Received::Ended:
            break;
    }
    forgetUnanswered(connection);
    connections_.lose(connection);
    burst.failSent(errorMsg(error::Unreachable, about(burst.number(), kDisconnected)));
    return false;
}

Received Exchange::receiveReply(const ConnectionPtr& connection, Burst& burst) {
    ++running_;
    Received received = Received::Nothing;
    for (Time wait = remaining(burst.deadline()); wait > 0ms; wait = remaining(burst.deadline())) {
        // The kernel's timer for it (timer_list) may be late by an eighth; the rest is waited for in the next rounds.
        connection->setReceiveTimeout(wait - wait / 4);
        std::vector<message> packet;
        received = connection->receive(connections_.buffer(), /*wait=*/true, packet);
        if (received == Received::Interrupted || received == Received::Nothing) continue;
        if (received != Received::Packet) break;
        received = Received::Nothing;
        for (message& arrived : packet) {
            if (Burst::Call* call = burst.answeredBy(arrived)) {
                burst.answer(*call, std::move(arrived));
                received = Received::Packet;
            } else if (!setAside(connection, std::move(arrived))) {
                received = Received::Ended;
                break;
            }
        }
        if (received != Received::Nothing) break;
    }
    --running_;
    return received;
}

// --- requests sent ahead ---------------------------------------------------------------------------------------------

void Exchange::sendAhead(std::vector<message> requests) {
    collectDebts();
    std::ranges::stable_sort(requests, {}, numberOf);
    for (std::span<message> rest = requests; !rest.empty();) {
        const uint32_t number = numberOf(rest.front());
        const auto other =
            std::ranges::find_if(rest, [=](const message& request) { return numberOf(request) != number; });
        const size_t count = std::min(static_cast<size_t>(other - rest.begin()), kMaxTogether);
        sendTogether(connections_.find(number), rest.first(count));
        rest = rest.subspan(count);
    }
}

void Exchange::sendTogether(const ConnectionPtr& connection, std::span<message> requests) {
    if (!connection || isIndebted(*connection)) return;
    const size_t before = ahead_.size();
    out_.clear();
    for (message& request : requests) {
        const uint32_t id = newRequestId();
        request.insert_u32(field::RequestId, id);
        request.flattenTo(out_);
        request.remove(field::RequestId);
        ahead_.push_back({.connection = connection, .request = std::move(request), .id = id, .reply = {}});
    }
    if (connection->sendInTurn(out_) != Sent::Yes) ahead_.resize(before);
}

std::vector<Exchange::Ahead>::iterator Exchange::findAhead(const message& request) {
    return std::ranges::find_if(ahead_, [&](const Ahead& ahead) {
        return ahead.request == request && (ahead.reply || !isIndebted(*ahead.connection));
    });
}

bool Exchange::isAnsweredAhead(const message& request) {
    const auto found = findAhead(request);
    if (found == ahead_.end()) return false;
    if (found->reply) return true;
    const ConnectionPtr connection = found->connection;
    setAsideAll(connection);
    const auto now = findAhead(request);
    return now != ahead_.end() && now->reply;
}

std::optional<Exchange::Ahead> Exchange::takeAhead(const std::vector<message>& requests) {
    if (ahead_.empty() || requests.size() != 1) return {};
    const auto found = findAhead(requests.front());
    if (found == ahead_.end()) return {};
    std::optional<Ahead> taken = std::move(*found);
    ahead_.erase(found);
    return taken;
}

void Exchange::finish(Ahead ahead, Burst& burst) {
    Burst::Call* call = burst.nextToSend();
    if (call == nullptr) return;  // the budget is used up
    if (ahead.reply) return burst.answer(*call, std::move(*ahead.reply));
    burst.markSent(*call);
    while (burst.outstanding() > 0 && awaitReply(ahead.connection, burst)) continue;
}

bool Exchange::storeAhead(const ConnectionPtr& connection, message& packet) {
    const uint32_t id = packet.get_u32(field::ReplyTo);
    const auto found = std::ranges::find_if(
        ahead_, [&](const Ahead& ahead) { return ahead.id == id && ahead.connection == connection && !ahead.reply; });
    if (found == ahead_.end()) return false;
    found->reply = std::move(packet);
    return true;
}

void Exchange::forgetUnanswered(const ConnectionPtr& connection) {
    std::erase_if(ahead_, [&](const Ahead& ahead) { return ahead.connection == connection && !ahead.reply; });
}

bool Exchange::forgetLast(const ConnectionPtr& connection) {
    const auto last = std::find_if(ahead_.rbegin(), ahead_.rend(),
                                   [&](const Ahead& ahead) { return ahead.connection == connection && !ahead.reply; });
    if (last == ahead_.rend()) return false;
    ahead_.erase(std::prev(last.base()));
    return true;
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
    if (storeAhead(connection, packet)) return true;
    if (packet.has(field::ReplyTo)) settle(connection, packet);
    if (backlog_.add(connection, std::move(packet), connection->lastPacket())) return true;
    swarn << about(*connection->dialled(), "sends more than can be queued, connection closed");
    return false;
}

void Exchange::setAsideAll(const ConnectionPtr& connection) {
    while (!connection->isClosed()) {
        std::vector<message> packet;
        const Received received = connection->receive(connections_.buffer(), /*wait=*/false, packet);
        if (received == Received::Nothing) return;
        if (received == Received::Unread) forgetLast(connection);  // reported once, packets may follow
        if (received == Received::Interrupted || received == Received::Unread) continue;
        const bool isKept = received == Received::Packet && std::ranges::all_of(packet, [&](message& arrived) {
                                return setAside(connection, std::move(arrived));
                            });
        if (!isKept) connections_.lose(connection);
    }
}

void Exchange::loseAfterReading(const ConnectionPtr& connection) {
    setAsideAll(connection);
    connections_.lose(connection);
}

}  // namespace tn
