#include "tn/connections.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "tn/fields.h"
#include "tn/log.h"

namespace tn {

namespace {

constexpr size_t kMaxAccepted = 512;
constexpr size_t kMaxRestricted = 64;  // of those, from callers without all rights

bool isRestricted(const BusPeer& peer) { return peer.rights != right::All; }

bool isReadable(int fd) {
    pollfd socket = {.fd = fd, .events = POLLIN, .revents = 0};
    return poll(&socket, 1, 0) > 0;
}

}  // namespace

Connections::Connections(ThinRunner& runner, Events& events)
    : runner_(runner),
      events_(events),
      listeners_(runner, [this](Descriptor socket, gid_t group) { accept(std::move(socket), group); }),
      buffer_(std::make_unique_for_overwrite<uint8_t[]>(kMaxPacket)) {}

ConnectionPtr Connections::find(uint32_t number) const {
    const auto found = dialled_.find(number);
    return found == dialled_.end() ? nullptr : found->second;
}

ConnectionPtr Connections::dial(uint32_t number, std::chrono::milliseconds timeout) {
    if (ConnectionPtr connection = find(number)) return connection;
    Descriptor socket = dialBus(number, timeout);
    if (!socket) return nullptr;
    const BusPeer peer = peerOf(socket.get(), getegid());
    const auto connection = std::make_shared<Connection>(std::move(socket), peer, number);
    dialled_.emplace(number, connection);
    absent_.erase(number);
    watch(connection);
    events_.onDialled(number, connection);
    if (!connection->isClosed()) return connection;
    errno = ECONNRESET;
    return nullptr;
}

message Connections::dialError(uint32_t number) {
    const std::string about = "bus: " + std::to_string(number) + ": ";
    if (errno == EAGAIN) return errorMsg(error::TimedOut, about + "no answer");
    const bool isAbsent = errno == ENOENT || errno == ECONNREFUSED || errno == ECONNRESET || errno == EPIPE;
    const std::string text = about + (isAbsent ? "no owner" : strerror(errno));
    if (listeners_.isOpen() && absent_.insert(number).second) swarn << text;
    return errorMsg(error::Unreachable, text);
}

void Connections::accept(Descriptor socket, gid_t group) {
    const BusPeer peer = peerOf(socket.get(), group);
    if (isFull(peer)) return refuse(peer);
    isCrowdReported_ = false;
    if (isRestricted(peer)) ++restricted_;
    makeRoomForPackets(socket.get());
    const auto connection = std::make_shared<Connection>(std::move(socket), peer, std::nullopt);
    accepted_.emplace(connection->fd(), connection);
    watch(connection);
    events_.onAccepted();
}

bool Connections::isFull(const BusPeer& peer) const {
    return accepted_.size() >= kMaxAccepted || (isRestricted(peer) && restricted_ >= kMaxRestricted);
}

void Connections::refuse(const BusPeer& peer) {
    if (std::exchange(isCrowdReported_, true)) return;
    swarn << "bus: too many connections, refused process " << peer.pid;
}

void Connections::watch(const ConnectionPtr& connection) {
    const bool writes = connection->hasQueue();
    const bool reads = !writes || connection->dialled();
    const unsigned events = (reads ? unsigned{EPOLLIN} : 0) | (writes ? unsigned{EPOLLOUT} : 0);
    if (events == connection->watchedEvents) return;
    connection->watchedEvents = events;
    runner_.addSocket(
        connection->fd(), [this, connection](int, unsigned ready) { onEvents(connection, ready); }, events);
}

void Connections::onEvents(const ConnectionPtr& connection, unsigned events) {
    if ((events & EPOLLOUT) != 0) flush(connection);
    if (connection->isClosed()) return;
    if ((connection->watchedEvents & EPOLLIN) != 0) {
        if ((events & ~unsigned{EPOLLOUT}) != 0) events_.onReadable(connection);
    } else if ((events & (EPOLLHUP | EPOLLERR)) != 0) {
        lose(connection);
    }
}

bool Connections::receive(const ConnectionPtr& connection, std::vector<message>& packet) {
    switch (connection->receive(buffer(), /*wait=*/false, packet)) {
        case Received::Packet:
            return true;
        case Received::Nothing:
        case Received::Interrupted:
        case Received::Unread:  // reported once; packets may follow, then the end
            return false;
        case Received::Bad:
            swarn << "bus: bad packet from process " << connection->peer().pid << ", connection closed";
            break;
        case Received::Ended:
            break;
    }
    lose(connection);
    return false;
}

void Connections::flush(const ConnectionPtr& connection) {
    std::vector<Handler*> owners;
    const Sent sent = connection->flush(owners);
    events_.onNotificationsGone(owners);
    if (sent == Sent::Gone) {
        lose(connection);
    } else {
        watch(connection);
    }
}

void Connections::lose(const ConnectionPtr& lost) {
    const ConnectionPtr connection = lost;  // the caller's may be the entry that is erased here
    if (connection->isClosed()) return;
    runner_.removeSocket(connection->fd());
    if (connection->dialled()) {
        dialled_.erase(*connection->dialled());
    } else {
        accepted_.erase(connection->fd());
        if (isRestricted(connection->peer())) --restricted_;
    }
    connection->close();
    std::vector<Handler*> owners;
    connection->dropQueue(owners);
    events_.onNotificationsGone(owners);
    events_.onLost(connection);
}

void Connections::loseSoon(const ConnectionPtr& connection) {
    connection->doomed = true;
    runner_.defer([this, connection] { lose(connection); });
}

Sent Connections::send(const ConnectionPtr& connection, flat_message packet) {
    const Sent sent = sendOrQueue(connection, std::move(packet));
    if (sent == Sent::Gone) lose(connection);
    return sent;
}

Sent Connections::sendReplies(const ConnectionPtr& connection, flat_message packet) {
    const Sent sent = sendOrQueue(connection, std::move(packet));
    if (sent == Sent::Gone || sent == Sent::Blocked) loseSoon(connection);
    return sent;
}

Sent Connections::sendOrQueue(const ConnectionPtr& connection, flat_message packet) {
    const Sent sent = connection->sendInTurn(packet);
    if (sent != Sent::Blocked || !connection->queue(std::move(packet))) return sent;
    watch(connection);
    return Sent::Yes;
}

bool Connections::sendNotification(const ConnectionPtr& connection, NoteKey key, const message& notification) {
    if (connection->isClosed() || connection->doomed) return false;
    flat_message packet = notification.flatten();
    const Sent sent = connection->sendInTurn(packet);
    if (sent == Sent::TooLarge) swarn << "bus: a notification is too large: " << packet.size() << " octets";
    if (sent == Sent::Gone) loseSoon(connection);
    if (sent != Sent::Blocked) return false;
    bool merged = false;
    if (!connection->queue(std::move(key), std::move(packet), merged)) {
        swarn << "bus: process " << connection->peer().pid << " doesn't read its notifications, connection closed";
        loseSoon(connection);
        return false;
    }
    watch(connection);
    return !merged;
}

std::vector<ConnectionPtr> Connections::endReception() {
    std::vector<ConnectionPtr> all;
    for (const auto& [fd, connection] : accepted_) {
        ::shutdown(fd, SHUT_RD);
        all.push_back(connection);
    }
    return all;
}

void Connections::close() {
    while (!accepted_.empty()) lose(accepted_.begin()->second);
    while (!dialled_.empty()) lose(dialled_.begin()->second);
    listeners_.close();
}

bool Connections::hasInput() const {
    return listeners_.hasWaitingCallers() ||
           std::ranges::any_of(accepted_, [](const auto& entry) { return isReadable(entry.first); });
}

}  // namespace tn
