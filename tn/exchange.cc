#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "tn/bus.h"
#include "tn/log.h"
#include "tn/looper.h"
#include "tn/sources.h"

namespace tn {

using namespace std::chrono_literals;

namespace {

constexpr size_t kMaxKept = 16'384;                 // packets that came in the middle of exchanges
constexpr size_t kMaxKeptOctets = 64 * kMaxPacket;  // 16 MiB
constexpr std::chrono::seconds kOwedFor{30};

std::string about(uint32_t number, const char* what) { return "bus: " + std::to_string(number) + ": " + what; }

std::chrono::milliseconds left(std::chrono::milliseconds deadline) { return std::max(deadline - sinceBoot(), 0ms); }

/// The same notification about the same object from the same handler to the same one.
NoteKey keyOf(const message& notification) {
    NoteKey key{.owner = nullptr,
                .command = notification.get_u32(field::Command),
                .object = std::nullopt,
                .subscriber = notification.get_u32_array(field::Destination)};
    if (notification.has(field::ObjectId)) key.object = notification.get_u32(field::ObjectId);
    key.subscriber.push_back(kNoId);
    const std::vector<uint32_t>& source = notification.get_u32_array(field::Source);
    key.subscriber.insert(key.subscriber.end(), source.begin(), source.end());
    return key;
}

}  // namespace

// --- messages to others ----------------------------------------------------------------------------------------------

message Bus::nobodyThere(uint32_t number) {
    if (errno == EAGAIN) return errorMsg(error::TimedOut, about(number, "no answer"));
    const bool absent = errno == ENOENT || errno == ECONNREFUSED || errno == ECONNRESET || errno == EPIPE;
    const std::string text = about(number, absent ? "nobody there" : strerror(errno));
    // A process that serves others says it once; the caller of a client sees the error itself.
    if (listening() && absent_.insert(number).second) serr << text;
    return errorMsg(error::Unreachable, text);
}

void Bus::prepare(message& m) const {
    m.remove(field::ReplyTo);
    m.remove(field::CallerPid);
    if (!m.has(field::Source) && !looper_.path().empty()) m.insert_u32_array(field::Source, looper_.path());
}

message Bus::send(message m) {
    touch();
    const uint32_t number = m.get_u32_array(field::Destination).front();
    prepare(m);
    m.remove(field::RequestId);
    const flat_message packet = m.flatten();
    if (packet.size() > kMaxPacket) return errorMsg(error::TooLarge, about(number, "the message doesn't fit"));
    for (int attempt = 0; attempt < 2; ++attempt) {
        const Link connection = dial(number, {});
        if (!connection) return nobodyThere(number);
        if (sendPacket(connection, packet)) return {};
        if (!connection->closed()) return errorMsg(error::TimedOut, about(number, "doesn't read its messages"));
    }
    errno = ECONNRESET;
    return nobodyThere(number);
}

void Bus::setBudget(std::chrono::milliseconds timeout) {
    budget_ = timeout;
    budgetEnd_ = 0ms;
}

/// Deadline of an exchange that begins now.
std::chrono::milliseconds Bus::deadlineOf(std::chrono::milliseconds timeout) {
    const std::chrono::milliseconds now = sinceBoot();
    if (budget_ == 0ms) return now + timeout;
    if (budgetEnd_ == 0ms) budgetEnd_ = now + budget_;
    return std::min(now + timeout, budgetEnd_);
}

message Bus::exchange(message m, std::chrono::milliseconds timeout) {
    touch();
    const uint32_t number = m.get_u32_array(field::Destination).front();
    const std::chrono::milliseconds deadline = deadlineOf(timeout);
    if (budget_ != 0ms && left(budgetEnd_) == 0ms)
        return errorMsg(error::TimedOut, about(number, "no time left to ask"));
    const uint32_t requestId = newRequestId();
    prepare(m);
    m.insert_u32(field::RequestId, requestId);
    out_.clear();
    m.flattenTo(out_);
    if (out_.size() > kMaxPacket) return errorMsg(error::TooLarge, about(number, "the request doesn't fit"));

    // A request that the peer provably hasn't read is sent once more: to the process that has taken its place, perhaps.
    // A kept connection that died meanwhile doesn't count.
    for (int dials = 0; dials < 2;) {
        const auto known = dialled_.find(number);
        if (known == dialled_.end()) ++dials;
        const Link connection = known != dialled_.end() ? known->second : dial(number, std::max(left(deadline), 1ms));
        if (!connection) return nobodyThere(number);
        if (stillOwes(*connection)) return errorMsg(error::TimedOut, about(number, "owes an earlier answer"));
        const Sent sent = sendWaiting(connection, deadline);
        if (sent == Sent::TooLarge) return errorMsg(error::TooLarge, about(number, "the request doesn't fit"));
        if (sent == Sent::Blocked) return errorMsg(error::TimedOut, about(number, "doesn't read its requests"));
        if (sent == Sent::Gone) continue;
        message answer;
        switch (awaitReply(connection, requestId, deadline, answer)) {
            case Received::Packet:
                return answer;
            case Received::Unread:
                continue;
            case Received::Nothing:
                connection->owed = {requestId, sinceBoot() + kOwedFor, m.get_u32_array(field::Source)};
                debtors_.push_back(connection);
                return errorMsg(error::TimedOut, about(number, "no answer"));
            default:
                return errorMsg(error::Unreachable, about(number, "died before it answered"));
        }
    }
    errno = ECONNRESET;
    return nobodyThere(number);
}

Sent Bus::sendWaiting(const Link& connection, std::chrono::milliseconds deadline) {
    for (;;) {
        if (connection->hasQueue()) flush(connection);
        if (connection->closed()) return Sent::Gone;
        const Sent sent = connection->hasQueue() ? Sent::Blocked : connection->send(out_);
        if (sent == Sent::Gone) loseAfterReading(connection);
        if (sent != Sent::Blocked) {
            connection->stuck = false;
            return sent;
        }
        const std::chrono::milliseconds wait = left(deadline);
        if (connection->stuck || wait == 0ms) {
            connection->stuck = true;
            return Sent::Blocked;
        }
        // Reading goes on meanwhile: the peer may be waiting for room in the other direction.
        pollfd socket = {.fd = connection->fd(), .events = POLLOUT | POLLIN, .revents = 0};
        if (poll(&socket, 1, static_cast<int>(std::min<int64_t>(wait.count(), INT32_MAX))) > 0 &&
            (socket.revents & POLLIN) != 0) {
            takeWaiting(connection);
        }
    }
}

Received Bus::awaitReply(const Link& connection, uint32_t requestId, std::chrono::milliseconds deadline,
                         message& answer) {
    ++exchanges_;
    Received received = Received::Nothing;
    for (std::chrono::milliseconds wait = left(deadline); wait > 0ms; wait = left(deadline)) {
        connection->setReceiveTimeout(wait);
        message packet;
        received = connection->receive(buffer(), /*wait=*/true, packet);
        if (received == Received::Interrupted) continue;
        if (received != Received::Packet) break;
        if (packet.get_u32(field::ReplyTo) == requestId) {
            answer = std::move(packet);
            break;
        }
        received = keep(connection, std::move(packet)) ? Received::Nothing : Received::Ended;
        if (received == Received::Ended) break;
    }
    --exchanges_;
    switch (received) {
        case Received::Packet:
            answer.remove(field::ReplyTo);
            return received;
        case Received::Nothing:
        case Received::Interrupted:
            return Received::Nothing;
        case Received::Unread:
            loseAfterReading(connection);
            return received;
        case Received::Bad:
            serr << about(*connection->dialled(), "sends bad packets, connection closed");
            break;
        case Received::Ended:
            break;
    }
    lose(connection);
    return received;
}

// --- what came in between --------------------------------------------------------------------------------------------

// A process handles one message at a time, so a reply owed on one of its numbers blocks all of them. If its pid is
// unknown (0: another pid namespace), only the connection itself is blocked.
bool Bus::stillOwes(const Connection& asked) {
    if (debtors_.empty()) return false;
    for (const Link& debtor : std::vector<Link>(debtors_)) {
        if (debtor->owed) takeWaiting(debtor);
        if (debtor->owed && sinceBoot() >= debtor->owed->until) debtor->owed.reset();
    }
    std::erase_if(debtors_, [](const Link& debtor) { return debtor->closed() || !debtor->owed; });
    const pid_t pid = asked.peer().pid;
    return std::ranges::any_of(debtors_, [&](const Link& debtor) {
        return debtor.get() == &asked || (pid != 0 && debtor->peer().pid == pid);
    });
}

// Reads what is there without waiting, and keeps it for the loop.
void Bus::takeWaiting(const Link& connection) {
    for (;;) {
        message packet;
        const Received received = connection->receive(buffer(), /*wait=*/false, packet);
        if (received == Received::Nothing) return;
        if (received == Received::Interrupted || received == Received::Unread) continue;  // told once, packets follow
        if (received != Received::Packet || !keep(connection, std::move(packet))) return lose(connection);
    }
}

// False when the peer has sent more than can be kept. Notifications are merged as their sender would merge them if they
// weren't read at all.
bool Bus::keep(const Link& connection, message packet) {
    size_t octets = connection->lastPacket();
    if (kept_.size() >= kMaxKept || keptOctets_ + octets > kMaxKeptOctets) {
        serr << about(*connection->dialled(), "sends more than can be kept, connection closed");
        return false;
    }
    if (kept_.empty()) looper_.defer([this] { runKept(); });
    const bool isReply = packet.has(field::ReplyTo);
    if (isReply) settle(*connection, packet);
    keptOctets_ += octets;
    const bool isNote = !isReply && !packet.has(field::RequestId);
    Kept kept{.connection = connection, .packet = std::move(packet), .octets = octets};
    if (!isNote) {
        kept_.push(std::move(kept));
    } else if (NoteKey key = keyOf(kept.packet); !kept_.push(std::move(key), kept)) {
        keptOctets_ -= kept.octets;  // those of the older one, which is now here
    }
    return true;
}

// Only what is there now: handlers may add to it by exchanges of their own, and others wait for the loop.
void Bus::runKept() {
    for (size_t count = kept_.size(); count > 0 && !kept_.empty(); --count) {
        Kept next = std::move(kept_.front());
        kept_.pop();
        keptOctets_ -= next.octets;
        if (next.packet.has(field::ReplyTo)) {
            handleReply(next.packet);
        } else {
            handleRequest(next.connection, next.packet);
        }
    }
    if (!kept_.empty()) looper_.defer([this] { runKept(); });
}

// What the peer sent before it went isn't lost with it.
void Bus::loseAfterReading(const Link& connection) {
    takeWaiting(connection);
    lose(connection);
}

}  // namespace tn
