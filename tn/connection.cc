#include "tn/connection.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "tn/fields.h"

namespace tn {

namespace {

struct QueueLimit {
    size_t packets;
    size_t octets;
};
constexpr QueueLimit kOfAnyone = {2048, 4 * kMaxPacket};      // 1 MiB
constexpr QueueLimit kOfTrusted = {16'384, 32 * kMaxPacket};  // 8 MiB

}  // namespace

Received Connection::receive(std::span<uint8_t> buffer, bool wait, std::vector<message>& out) {
    const ssize_t got = recv(fd(), buffer.data(), buffer.size(), MSG_TRUNC | (wait ? 0 : MSG_DONTWAIT));
    if (got > 0) {
        const auto length = static_cast<size_t>(got);  // of the whole packet, also when the buffer was too small
        if (length > buffer.size() || !message::unflatten(buffer.first(length), out)) return Received::Bad;
        lastPacket_ = length;
        return Received::Packet;
    }
    if (got == 0) return Received::Ended;
    if (errno == EAGAIN) return Received::Nothing;
    if (errno == EINTR) return Received::Interrupted;
    return errno == ECONNRESET ? Received::Unread : Received::Ended;
}

void Connection::setReceiveTimeout(std::chrono::milliseconds timeout) {
    timeout = std::max(timeout, std::chrono::milliseconds(1));
    if (timeout == receiveTimeout_) return;
    const timeval limit = timevalOf(timeout);
    if (setsockopt(fd(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0) receiveTimeout_ = timeout;
}

Sent Connection::sendInTurn(std::span<const uint8_t> packet) const {
    if (isClosed()) return Sent::Gone;
    if (packet.empty() || packet.size() > kMaxPacket) return Sent::TooLarge;
    return hasQueue() ? Sent::Blocked : send(packet);
}

Sent Connection::send(std::span<const uint8_t> packet) const {
    for (;;) {
        if (::send(fd(), packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) return Sent::Yes;
        if (errno == EINTR) continue;
        if (errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM) return Sent::Blocked;
        return errno == EMSGSIZE ? Sent::TooLarge : Sent::Gone;
    }
}

bool Connection::hasRoom(size_t octets) const {
    const QueueLimit& limit = peer_.rights == right::All ? kOfTrusted : kOfAnyone;
    return out_.size() < limit.packets && outOctets_ + octets <= limit.octets;
}

bool Connection::queue(flat_message packet) {
    if (!hasRoom(packet.size())) return false;
    outOctets_ += packet.size();
    out_.push(std::move(packet));
    return true;
}

bool Connection::queue(NoteKey key, flat_message packet, bool& merged) {
    if (!hasRoom(packet.size())) return false;
    outOctets_ += packet.size();
    merged = !out_.push(std::move(key), packet);
    if (merged) outOctets_ -= packet.size();  // now the older one
    return true;
}

Sent Connection::flush(std::vector<Handler*>& passed) {
    while (!out_.empty()) {
        const Sent sent = send(out_.front());
        if (sent == Sent::Blocked || sent == Sent::Gone) return sent;
        outOctets_ -= out_.front().size();
        if (Handler* owner = out_.pop()) passed.push_back(owner);
    }
    return Sent::Yes;
}

void Connection::dropQueue(std::vector<Handler*>& dropped) {
    while (!out_.empty()) {
        if (Handler* owner = out_.pop()) dropped.push_back(owner);
    }
    outOctets_ = 0;
}

}  // namespace tn
