#include "tn/bus.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "tn/log.h"
#include "tn/looper.h"
#include "tn/sources.h"

namespace tn {

namespace {

constexpr size_t kMaxConnections = 512;
constexpr size_t kMaxRestricted = 64;  // of those, from callers without all rights

}  // namespace

Bus::Bus(Looper& looper)
    : looper_(looper),
      listeners_(looper, [this](Descriptor socket, gid_t group) { accepted(std::move(socket), group); }),
      subscribers_(*this),
      subscriptions_(*this),
      buffer_(std::make_unique_for_overwrite<uint8_t[]>(kMaxPacket)) {}

Bus::~Bus() {
    setupLeave({});
    close();
}

void Bus::numberAdded(uint32_t number) {
    if (listening()) listen(std::span(&number, 1));
}

bool Bus::servesHere(uint32_t number) const { return looper_.serves(number); }

void Bus::forget(Handler& handler) {
    subscribers_.forget(handler);
    subscriptions_.forget(handler);
}

message Bus::changeSubscriber(Handler& owner, const message& request, uint32_t command) {
    const Link from = current_ == nullptr ? nullptr : *current_;
    return command == cmd::Subscribe ? subscribers_.add(owner, request, from)
                                     : subscribers_.remove(owner, request, from);
}

void Bus::notify(Handler& owner, uint32_t command, const message& notification) {
    subscribers_.notify(owner, command, notification);
}

void Bus::subscribe(Handler& handler, std::span<const uint32_t> path, uint32_t command, const message& filter) {
    subscriptions_.add(handler, path, command, filter);
}

void Bus::unsubscribe(Handler& handler, std::span<const uint32_t> path, uint32_t command, const message& filter) {
    subscriptions_.remove(handler, path, command, filter);
}

message Bus::dispatchLocal(const message& m) {
    touch();
    const Link* outer = current_;
    current_ = nullptr;
    message answer = looper_.dispatchMessage(m, right::All);
    current_ = outer;
    return answer;
}

// --- connections -----------------------------------------------------------------------------------------------------

std::shared_ptr<Connection> Bus::dial(uint32_t number, std::chrono::milliseconds timeout) {
    const auto known = dialled_.find(number);
    if (known != dialled_.end()) return known->second;
    Descriptor socket = dialBus(number, timeout);
    if (!socket) return nullptr;
    const BusPeer peer = peerOf(socket.get(), getegid());
    const auto connection = std::make_shared<Connection>(std::move(socket), peer, number);
    dialled_.emplace(number, connection);
    absent_.erase(number);
    watch(connection);
    subscriptions_.connected(number, connection);
    if (!connection->closed()) return connection;
    errno = ECONNRESET;
    return nullptr;
}

void Bus::accepted(Descriptor socket, gid_t group) {
    const BusPeer peer = peerOf(socket.get(), group);
    const bool restricted = peer.rights != right::All;
    if (accepted_.size() >= kMaxConnections || (restricted && restricted_ >= kMaxRestricted)) {
        if (!crowded_) serr << "bus: too many connections, the one of process " << peer.pid << " is refused";
        crowded_ = true;
        return;
    }
    crowded_ = false;
    if (restricted) ++restricted_;
    makeRoomForPackets(socket.get());
    const auto connection = std::make_shared<Connection>(std::move(socket), peer, std::nullopt);
    accepted_.emplace(connection->fd(), connection);
    watch(connection);
    touch();
}

// While replies wait for a caller that doesn't read them, it isn't read either: so it holds up nobody but itself.
void Bus::watch(const Link& connection) {
    const bool writes = connection->hasQueue();
    const bool reads = !writes || connection->dialled();
    const unsigned events = (reads ? unsigned{EPOLLIN} : 0) | (writes ? unsigned{EPOLLOUT} : 0);
    if (events == connection->watchedEvents) return;
    connection->watchedEvents = events;
    looper_.addSocket(
        connection->fd(), [this, connection](int, unsigned ready) { onEvents(connection, ready); }, events);
}

void Bus::onEvents(const Link& connection, unsigned events) {
    if ((events & EPOLLOUT) != 0) flush(connection);
    if (connection->closed()) return;
    if ((connection->watchedEvents & EPOLLIN) != 0) {
        if ((events & ~unsigned{EPOLLOUT}) != 0) readOne(connection);
    } else if ((events & (EPOLLHUP | EPOLLERR)) != 0) {
        lose(connection);
    }
}

// One packet an event: the loop goes round all connections, however much one of them sends.
void Bus::readOne(const Link& connection) {
    if (!kept_.empty()) return runKept();  // what came earlier comes first
    message packet;
    switch (connection->receive(buffer(), /*wait=*/false, packet)) {
        case Received::Packet:
            return handlePacket(connection, packet);
        case Received::Nothing:
        case Received::Interrupted:
        case Received::Unread:
            return;  // told once; packets may follow, then the end
        case Received::Bad:
            serr << "bus: bad packet from process " << connection->peer().pid << ", connection closed";
            return lose(connection);
        case Received::Ended:
            return lose(connection);
    }
}

void Bus::flush(const Link& connection) {
    std::vector<Handler*> passed;
    const Sent sent = connection->flush(passed);
    subscribers_.passedOn(passed);
    if (sent == Sent::Gone) {
        lose(connection);
    } else {
        watch(connection);
    }
}

void Bus::lose(const Link& link) {
    const Link connection = link;  // the caller's may be the one that is erased here
    if (connection->closed()) return;
    looper_.removeSocket(connection->fd());
    if (connection->dialled()) {
        dialled_.erase(*connection->dialled());
    } else {
        accepted_.erase(connection->fd());
        if (connection->peer().rights != right::All) --restricted_;
    }
    connection->close();
    std::vector<Handler*> dropped;
    connection->dropQueue(dropped);
    subscribers_.passedOn(dropped);
    if (connection->dialled()) {
        subscriptions_.connectionLost(*connection->dialled());
    } else {
        subscribers_.connectionLost(connection);
    }
    touch();
}

// For places where the hooks of lost subscribers mustn't run.
void Bus::loseSoon(const Link& connection) {
    connection->doomed = true;
    looper_.defer([this, connection] { lose(connection); });
}

bool Bus::sendPacket(const Link& connection, flat_message packet) {
    const Sent sent = connection->hasQueue() ? Sent::Blocked : connection->send(packet);
    if (sent == Sent::Gone) lose(connection);
    if (sent != Sent::Blocked) return sent == Sent::Yes;
    if (!connection->queue(std::move(packet))) return false;
    watch(connection);
    return true;
}

bool Bus::sendNotification(const Link& connection, NoteKey key, const message& notification) {
    if (connection->closed() || connection->doomed) return false;
    flat_message packet = notification.flatten();
    const Sent sent = connection->hasQueue() ? Sent::Blocked : connection->send(packet);
    if (sent == Sent::TooLarge) serr << "bus: a notification is too large: " << packet.size() << " octets";
    if (sent == Sent::Gone) loseSoon(connection);
    if (sent != Sent::Blocked) return false;
    bool merged = false;
    if (!connection->queue(std::move(key), std::move(packet), merged)) {
        serr << "bus: process " << connection->peer().pid << " doesn't read its notifications, connection closed";
        loseSoon(connection);
        return false;
    }
    watch(connection);
    return !merged;
}

// --- packets in ------------------------------------------------------------------------------------------------------

void Bus::handlePacket(const Link& connection, message& packet) {
    touch();
    if (!packet.has(field::ReplyTo)) return handleRequest(connection, packet);
    if (!connection->dialled()) {  // requests are sent only on dialled ones
        serr << "bus: reply from process " << connection->peer().pid << ", which was never asked, connection closed";
        return lose(connection);
    }
    settle(*connection, packet);
    handleReply(packet);
}

// Consumers of notifications trust the source: what comes over a connection to a number comes from that number.
bool Bus::checkSource(const Connection& connection, const message& request) {
    if (!connection.dialled()) return true;
    const std::vector<uint32_t>& source = request.get_u32_array(field::Source);
    return !source.empty() && source.front() == *connection.dialled();
}

void Bus::handleRequest(const Link& connection, message& request) {
    if (!checkSource(*connection, request)) {
        serr << "bus: " << *connection->dialled() << ": a message under another's name, connection closed";
        return lose(connection);
    }
    request.insert_u32(field::CallerPid, static_cast<uint32_t>(connection->peer().pid));
    const uint32_t requestId = request.get_u32(field::RequestId);
    uint32_t rights = connection->peer().rights;
    if (connection->dialled() && subscriptions_.wants(request)) rights = right::All;

    const Link* outer = current_;
    current_ = &connection;
    message answer = request.get_u32(field::Command) == cmd::Disconnected
                         ? errorMsg(error::NotPermitted, "not permitted")
                         : looper_.dispatchMessage(request, rights);
    current_ = outer;
    if (requestId != 0) reply(connection, requestId, std::move(answer));
}

void Bus::reply(const Link& connection, uint32_t requestId, message answer) {
    if (connection->closed()) return;
    answer.insert_u32(field::ReplyTo, requestId);
    flat_message packet = answer.flatten();
    Sent sent = connection->hasQueue() ? Sent::Blocked : connection->send(packet);
    if (sent == Sent::TooLarge || packet.size() > kMaxPacket) {
        answer = errorMsg(error::TooLarge, "the reply doesn't fit into a packet");
        answer.insert_u32(field::ReplyTo, requestId);
        packet = answer.flatten();
        sent = connection->hasQueue() ? Sent::Blocked : connection->send(packet);
    }
    if (sent == Sent::Blocked && connection->queue(std::move(packet))) return watch(connection);
    if (sent != Sent::Yes) lose(connection);
}

// A reply isn't awaited any more here; when it is the one that an exchange gave up on, it goes to who asked.
void Bus::settle(Connection& connection, message& reply) {
    reply.remove(field::Destination);
    if (!connection.owed || connection.owed->request != reply.get_u32(field::ReplyTo)) return;
    reply.insert_u32_array(field::Destination, connection.owed->source);
    connection.owed.reset();
}

void Bus::handleReply(const message& reply) {
    const uint32_t requestId = reply.get_u32(field::ReplyTo);
    if (subscriptions_.takeReply(requestId, reply)) return;
    if (Handler* asked = looper_.findHandler(reply.get_u32_array(field::Destination))) asked->handleReply(reply);
}

// --- leaving ---------------------------------------------------------------------------------------------------------

bool Bus::idle() const { return exchanges_ == 0 && kept_.empty() && subscribers_.empty() && subscriptions_.empty(); }

void Bus::setupLeave(std::chrono::milliseconds idleTime) {
    leaveAfter_ = idleTime;
    looper_.removeTimer(leaveTimer_);
    leaveTimer_ = 0;
    touch();
}

// While the process may not leave no timer runs: whatever could change that comes by here.
void Bus::touch() {
    if (leaveAfter_.count() == 0) return;
    lastUse_ = sinceBoot();
    if (leaveTimer_ == 0) armLeave(leaveAfter_);
}

void Bus::armLeave(std::chrono::milliseconds delay) {
    leaveTimer_ = looper_.addTimer([this] { tryLeave(); }, delay);
}

void Bus::tryLeave() {
    leaveTimer_ = 0;
    const std::chrono::milliseconds idleFor = sinceBoot() - lastUse_;
    if (idleFor < leaveAfter_) return armLeave(leaveAfter_ - idleFor);
    if (!looper_.canLeave() || !listeners_.handedOver()) return;
    if (requestsWait()) return touch();
    looper_.shutdown();
}

bool Bus::requestsWait() const {
    return listeners_.callersWait() || std::ranges::any_of(accepted_, [](const auto& entry) {
               pollfd socket = {.fd = entry.first, .events = POLLIN, .revents = 0};
               return poll(&socket, 1, 0) > 0;
           });
}

void Bus::drain() {
    listeners_.withdraw();
    runKept();
    std::vector<Link> connections;
    for (const auto& [fd, connection] : accepted_) connections.push_back(connection);
    for (const Link& connection : connections) {
        // From here on the peer's sends fail, so it knows that it must try elsewhere; what it has sent is answered.
        ::shutdown(connection->fd(), SHUT_RD);
        message packet;
        while (!connection->closed() && connection->receive(buffer(), /*wait=*/false, packet) == Received::Packet) {
            handlePacket(connection, packet);
        }
    }
}

void Bus::close() {
    while (!accepted_.empty()) lose(accepted_.begin()->second);
    while (!dialled_.empty()) lose(dialled_.begin()->second);
    while (!kept_.empty()) kept_.pop();
    listeners_.close();
}

}  // namespace tn
