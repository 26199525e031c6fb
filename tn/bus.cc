#include "tn/bus.h"

#include <cerrno>
#include <string>
#include <utility>

#include "tn/log.h"
#include "tn/looper.h"

namespace tn {

namespace {

constexpr int kMaxAttempts = 2;

std::string about(uint32_t number, const char* what) { return "bus: " + std::to_string(number) + ": " + what; }

}  // namespace

Bus::Bus(Looper& looper)
    : looper_(looper),
      connections_(looper, *this),
      backlog_(looper,
               [this](const ConnectionPtr& from, message& packet) {
                   deliver(from, packet);
                   sendReplies();
               }),
      exchange_(connections_, backlog_),
      replies_(connections_),
      subscribers_(*this),
      subscriptions_(*this),
      idleExit_(looper, {.canLeave = [this] { return looper_.canLeave() && connections_.listeners().areHandedOver(); },
                         .hasRequests = [this] { return connections_.hasInput(); }}) {}

Bus::~Bus() { close(); }

void Bus::numberAdded(uint32_t number) {
    if (isListening()) listen(std::span(&number, 1));
}

void Bus::forget(Handler& handler) {
    subscribers_.forget(handler);
    subscriptions_.forget(handler);
}

bool Bus::isIdle() const {
    return !exchange_.isRunning() && backlog_.empty() && subscribers_.empty() && subscriptions_.empty();
}

void Bus::drain() {
    connections_.listeners().withdraw();
    backlog_.deliver();
    for (const ConnectionPtr& connection : connections_.endReception()) {
        while (!connection->isClosed() && routeNext(connection)) continue;
    }
}

void Bus::close() {
    connections_.close();
    backlog_.clear();
}

// --- messages out ----------------------------------------------------------------------------------------------------

void Bus::prepare(message& m) const {
    m.remove(field::ReplyTo);
    m.remove(field::CallerPid);
    if (!m.has(field::Source) && !looper_.path().empty()) m.insert_u32_array(field::Source, looper_.path());
}

message Bus::send(message m) {
    idleExit_.touch();
    const uint32_t number = m.get_u32_array(field::Destination).front();
    prepare(m);
    m.remove(field::RequestId);
    const flat_message packet = m.flatten();
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
        const ConnectionPtr connection = connections_.dial(number, {});
        if (!connection) return connections_.dialError(number);
        switch (connections_.send(connection, packet)) {
            case Sent::Yes:
                return {};
            case Sent::Blocked:
                return errorMsg(error::TimedOut, about(number, "doesn't read its messages"));
            case Sent::TooLarge:
                return errorMsg(error::TooLarge, about(number, "the message doesn't fit"));
            case Sent::Gone:
                break;
        }
    }
    errno = ECONNRESET;
    return connections_.dialError(number);
}

std::vector<message> Bus::exchange(std::vector<message> requests, std::chrono::milliseconds timeout) {
    idleExit_.touch();
    for (message& m : requests) prepare(m);
    const bool isSingle = requests.size() == 1;
    if (!isSingle || !exchange_.isAnsweredAhead(requests.front())) looper_.beforeWait();
    return exchange_.run(std::move(requests), timeout);
}

void Bus::sendAhead(std::vector<message> requests) {
    idleExit_.touch();
    for (message& m : requests) prepare(m);
    exchange_.sendAhead(std::move(requests));
}

message Bus::dispatchLocal(const message& m) {
    idleExit_.touch();
    return dispatch(nullptr, m, right::All);
}

message Bus::dispatch(const ConnectionPtr* connection, const message& m, uint32_t rights) {
    const ConnectionPtr* outer = std::exchange(current_, connection);
    message answer = looper_.dispatchMessage(m, rights);
    current_ = outer;
    return answer;
}

message Bus::changeSubscriber(Handler& owner, const message& request, uint32_t command) {
    const ConnectionPtr from = current_ == nullptr ? nullptr : *current_;
    return command == cmd::Subscribe ? subscribers_.add(owner, request, from)
                                     : subscribers_.remove(owner, request, from);
}

// --- connections -----------------------------------------------------------------------------------------------------

void Bus::onDialled(uint32_t number, const ConnectionPtr& connection) { subscriptions_.connected(number, connection); }

// One packet an event: the loop serves all connections in turn, however much one of them sends.
void Bus::onReadable(const ConnectionPtr& connection) {
    if (!backlog_.empty()) return backlog_.deliver();  // what arrived earlier comes first
    routeNext(connection);
}

void Bus::onLost(const ConnectionPtr& connection) {
    if (connection->dialled()) {
        subscriptions_.connectionLost(*connection->dialled());
    } else {
        subscribers_.connectionLost(connection);
    }
    idleExit_.touch();
}

// --- packets in ------------------------------------------------------------------------------------------------------

bool Bus::routeNext(const ConnectionPtr& connection) {
    std::vector<message> packet;
    if (!connections_.receive(connection, packet)) return false;
    for (message& arrived : packet)
        if (!connection->isClosed()) route(connection, arrived);
    sendReplies();
    return true;
}

void Bus::route(const ConnectionPtr& connection, message& packet) {
    idleExit_.touch();
    if (packet.has(field::ReplyTo)) {
        if (!connection->dialled()) {  // requests are sent only on dialled ones
            swarn << "bus: unsolicited reply from process " << connection->peer().pid << ", connection closed";
            return connections_.lose(connection);
        }
        exchange_.settle(connection, packet);
    }
    deliver(connection, packet);
}

void Bus::deliver(const ConnectionPtr& connection, message& packet) {
    if (packet.has(field::ReplyTo)) {
        handleReply(packet);
    } else {
        handleRequest(connection, packet);
    }
}

void Bus::handleReply(const message& reply) {
    if (subscriptions_.applyReply(reply.get_u32(field::ReplyTo), reply)) return;
    if (Handler* caller = looper_.findHandler(reply.get_u32_array(field::Destination))) caller->handleReply(reply);
}

bool Bus::hasTrueSource(const Connection& connection, const message& request) {
    if (!connection.dialled()) return true;
    const std::vector<uint32_t>& source = request.get_u32_array(field::Source);
    return !source.empty() && source.front() == *connection.dialled();
}

uint32_t Bus::rightsOf(const Connection& connection, const message& request) const {
    return connection.dialled() && subscriptions_.isWanted(request) ? right::All : connection.peer().rights;
}

void Bus::handleRequest(const ConnectionPtr& connection, message& request) {
    if (!hasTrueSource(*connection, request)) {
        swarn << "bus: " << *connection->dialled() << ": message with a wrong source path, connection closed";
        return connections_.lose(connection);
    }
    request.insert_u32(field::CallerPid, static_cast<uint32_t>(connection->peer().pid));
    message answer = request.get_u32(field::Command) == cmd::Disconnected
                         ? errorMsg(error::NotPermitted, "not permitted")
                         : dispatch(&connection, request, rightsOf(*connection, request));
    if (const uint32_t requestId = request.get_u32(field::RequestId); requestId != 0) {
        replies_.add(connection, requestId, std::move(answer));
    }
}

}  // namespace tn
