#include "agent/traps/informs.h"

#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <optional>
#include <utility>

#include "agent/ber/tags.h"
#include "agent/log.h"
#include "agent/mib/context.h"
#include "agent/security/v3_errors.h"
#include "agent/status/statistics.h"
#include "agent/traps/v3_header.h"
#include "tn/sources.h"

namespace snmp {

namespace {

constexpr int kReceivedAtOnce = 16;  // datagrams, before bus and requests get their turn
constexpr unsigned kMaxRepeats = 4;  // engine id and time, each twice; a hostile target could demand more forever

/// The V3Error that a Report with this counter names; None for any other name.
V3Error errorOf(const OID& counter) {
    for (const V3ErrorKind& kind : kV3ErrorKinds)
        if (counter == OID(kind.group) + kind.counter + 0) return kind.error;
    return V3Error::None;
}

/// A PDU up to its varbinds.
struct Reply {
    uint8_t pdu = kNoTag;
    unsigned int requestId = 0;
    unsigned int errorStatus = 0;
};

std::optional<Reply> readReply(InStream& in) {
    Reply reply{.pdu = in.getType()};
    unsigned int errorIndex = 0;
    if (in.enterSeq() < 0 || !in.getInt(&reply.requestId) || !in.getInt(&reply.errorStatus) || !in.getInt(&errorIndex))
        return {};
    return reply;
}

/// The name of the first varbind; empty if it can't be read.
OID firstName(InStream& in) {
    OID name;
    if (in.enterSeq() < 0 || in.enterSeq() < 0 || !in.getOID(&name)) return {};
    return name;
}

uint32_t levelOf(const Item& user) { return std::min(user.security, security_level::Private); }

}  // namespace

void Informs::send(const TrapTarget& at, Inform inform) {
    Target& target = targets_[at];
    const size_t octets = inform.pdu.size();
    while (!target.queue.empty() && (target.queue.size() >= kMaxQueued || target.octets + octets > kMaxOctets)) {
        lose(target, "too many wait");
        remove(target, target.queue.begin());
    }
    target.octets += octets;
    target.queue.push_back(
        {.inform = std::move(inform), .tries = 0, .repeats = 0, .due = tn::sinceBoot(), .fault = {}});
    statistics.counters.add(Counter::InformsSent);
    retryDue();
}

void Informs::keepOnly(const std::vector<TrapTarget>& targets) {
    for (auto at = targets_.begin(); at != targets_.end();) {
        if (std::ranges::find(targets, at->first) != targets.end()) {
            ++at;
            continue;
        }
        Target& target = at->second;
        for (size_t i = 0; i < target.queue.size(); ++i) lose(target, "no longer a target");
        log(at->first, target, target.mayLog);
        at = targets_.erase(at);
    }
    schedule();
}

void Informs::retryDue() {
    const Time now = tn::sinceBoot();
    for (auto& [at, target] : targets_) {
        for (auto waiting = target.queue.begin(); waiting != target.queue.end();) {
            if (waiting->due > now) {
                ++waiting;
            } else if (waiting->tries == kTries) {
                lose(target, waiting->fault);
                // It may have another engine now, or have lost count of its boots.
                target.engine = {};
                waiting = remove(target, waiting);
            } else {
                waiting->due = now + kFirstTimeout * (1U << waiting->tries++);
                waiting = transmitOrDrop(at, target, waiting);
            }
        }
        log(at, target, now);
    }
    schedule();
}

void Informs::receive() {
    static std::array<uint8_t, kMaxDatagram> buffer;
    for (int i = 0; i < kReceivedAtOnce; ++i) {
        const auto datagram = socket_.receive(buffer);
        if (!datagram) return;
        accept({datagram->source, datagram->port}, std::span(buffer).first(datagram->size));
    }
}

void Informs::accept(const TrapTarget& source, std::span<const uint8_t> datagram) {
    const auto at = targets_.find(source);
    if (at == targets_.end()) return;
    UsmReader in(datagram);
    const int version = in.getVersion();
    if (version == static_cast<int>(kVersion2c)) acceptV2c(at->second, in);
    if (version == static_cast<int>(kVersion3)) acceptV3(source, at->second, in);
    log(source, at->second, tn::sinceBoot());
    schedule();
}

void Informs::acceptV2c(Target& target, UsmReader& in) {
    std::string community;
    if (!in.getString(&community)) return;
    const auto reply = readReply(in);
    if (!reply || reply->pdu != pdu::Response) return;
    const Position waiting = find(target, reply->requestId);
    if (waiting == target.queue.end() || waiting->inform.version != kVersion2c) return;
    const Item* sender = communities_.findId(waiting->inform.sender);
    if (sender != nullptr && sender->name == community) acceptResponse(target, waiting, reply->errorStatus);
}

// RFC 3414, 3.2, for a message whose sender is authoritative. Only a Report may be unauthenticated: that of a target
// that doesn't know the user, or that isn't known itself.
void Informs::acceptV3(const TrapTarget& at, Target& target, UsmReader& in) {
    V3Error error = V3Error::None;
    if (!in.readV3Info(error, kStandardRules)) return;
    const V3Info& header = in.v3Info();
    const Position waiting = find(target, header.msgID);
    if (waiting == target.queue.end() || waiting->inform.version != kVersion3) return;
    const Item* user = communities_.findId(waiting->inform.sender);
    const bool isFromEngine = !target.engine.id().empty() && header.msgAuthoritativeEngineID == target.engine.id();
    if (user == nullptr) return;
    if (in.securityLevel() != security_level::None) {
        if (!isFromEngine || header.msgUserName != user->name || !in.openReply(user->keysFor(target.engine.id())))
            return;
        if (!target.engine.synchronize(header.msgAuthoritativeEngineBoots, header.msgAuthoritativeEngineTime,
                                       tn::sinceBoot())) {
            return;
        }
    } else if (!in.openReply({})) {
        return;
    }
    const auto reply = readReply(in);
    if (!reply) return;
    if (reply->pdu == pdu::Report) return acceptReport(at, target, waiting, in);
    const bool isSecure = isFromEngine && header.msgUserName == user->name && in.securityLevel() >= levelOf(*user);
    if (reply->pdu == pdu::Response && reply->requestId == waiting->inform.id && isSecure)
        acceptResponse(target, waiting, reply->errorStatus);
}

void Informs::acceptReport(const TrapTarget& at, Target& target, const Position& waiting, UsmReader& in) {
    const V3Error error = errorOf(firstName(in));
    const bool isDiscovery = error == V3Error::UnknownEngineId;
    if (isDiscovery && !target.engine.discover(in.v3Info().msgAuthoritativeEngineID, in.v3Info().msgMaxSize)) return;
    // Its boots and time are accepted by now. Those of an unauthenticated Report aren't believed.
    if (error == V3Error::NotInTimeWindow && !in.isAuthenticated()) return;
    if (isDiscovery || error == V3Error::NotInTimeWindow) {
        if (waiting->repeats++ < kMaxRepeats) transmitOrDrop(at, target, waiting);
        return;
    }
    lose(target, error == V3Error::None ? "a Report that isn't known" : rowOf(kindOf(error).cause).text);
    remove(target, waiting);
}

void Informs::acceptResponse(Target& target, const Position& waiting, uint32_t errorStatus) {
    if (errorStatus == 0) {
        statistics.counters.add(Counter::InformsAcknowledged);
    } else {
        lose(target, "error-status " + std::to_string(errorStatus));
    }
    remove(target, waiting);
}

Informs::Position Informs::find(Target& target, uint32_t id) {
    return std::ranges::find_if(target.queue, [&](const Waiting& waiting) { return waiting.inform.id == id; });
}

bool Informs::transmit(const TrapTarget& at, const Target& target, Waiting& waiting) {
    UsmWriter out;
    waiting.fault.clear();
    if (!write(out, target, waiting.inform)) {
        waiting.fault = "its community, or its user's keys, are missing";
    } else if (out.size() > target.engine.maxSize()) {
        return false;
    } else if (!open() || !socket_.sendTo(at.address, at.port, out.bytes())) {
        waiting.fault = std::strerror(errno);
    }
    return true;
}

Informs::Position Informs::transmitOrDrop(const TrapTarget& at, Target& target, const Position& waiting) {
    if (transmit(at, target, *waiting)) return std::next(waiting);
    lose(target, "longer than the target accepts");
    return remove(target, waiting);
}

bool Informs::write(UsmWriter& out, const Target& target, const Inform& inform) const {
    const Item* sender = communities_.findId(inform.sender);
    if (sender == nullptr) return false;
    out.startSeq(tag::Sequence);
    out.add(inform.version, tag::Integer);
    if (inform.version == kVersion3) return writeSecured(out, target, inform, *sender);
    out.add(sender->name, tag::OctetString);
    out.add(inform.pdu.data(), static_cast<unsigned>(inform.pdu.size()), pdu::InformRequest);
    out.endSeq();
    return true;
}

bool Informs::writeSecured(UsmWriter& out, const Target& target, const Inform& inform, const Item& user) const {
    const RemoteEngine& engine = target.engine;
    const bool isDiscovery = engine.id().empty();
    const uint32_t level = isDiscovery ? security_level::None : levelOf(user);
    V3Info header = notificationHeader(user, level, engine_);
    header.msgID = inform.id;
    header.msgFlags.front() |= kReportableFlag;
    if (isDiscovery) header.msgUserName.clear();
    header.msgAuthoritativeEngineID = engine.id();
    header.msgAuthoritativeEngineBoots = engine.boots();
    header.msgAuthoritativeEngineTime = engine.time(tn::sinceBoot());
    out.writeV3Info(header, level);
    if (isDiscovery) {
        out.startSeq(pdu::GetRequest);
        out.add(inform.id, tag::Integer);
        out.addErrorStatus(0);
        out.addErrorIndex(0);
        out.startSeq(tag::Sequence);
        out.endSeq();
        out.endSeq();
    } else {
        out.add(inform.pdu.data(), static_cast<unsigned>(inform.pdu.size()), pdu::InformRequest);
    }
    const UserKeys keys = level == security_level::None ? UserKeys() : user.keysFor(engine.id());
    if (!out.cryptPacket(header, keys)) return false;
    out.endSeq();
    return out.signPacket(header, keys);
}

void Informs::lose(Target& target, std::string_view fault) {
    statistics.counters.add(Counter::InformsLost);
    ++target.lost;
    target.fault = fault;
}

Informs::Position Informs::remove(Target& target, const Position& waiting) {
    target.octets -= waiting->inform.pdu.size();
    return target.queue.erase(waiting);
}

void Informs::log(const TrapTarget& at, Target& target, Time now) {
    if (target.lost == 0 || now < target.mayLog) return;
    swarn << "not acknowledged: " << at.str() << ": " << target.lost << (target.lost == 1 ? " inform" : " informs")
          << (target.fault.empty() ? "" : ": " + target.fault);
    target.lost = 0;
    target.fault.clear();
    target.mayLog = now + kLogInterval;
}

bool Informs::open() {
    if (socket_) return true;
    if (!socket_.open()) return false;
    if (loop_.addSocket(
            socket_.descriptor(), [this](int, unsigned) { receive(); }, EPOLLIN))
        return true;
    socket_.close();
    return false;
}

void Informs::close() {
    loop_.removeTimer(std::exchange(timer_, 0));
    if (!socket_) return;
    loop_.removeSocket(socket_.descriptor());
    socket_.close();
}

void Informs::schedule() {
    std::optional<Time> next;
    bool isWaiting = false;
    const auto include = [&](Time time) { next = std::min(next.value_or(time), time); };
    for (const auto& [at, target] : targets_) {
        for (const Waiting& waiting : target.queue) include(waiting.due);
        if (target.lost > 0) include(target.mayLog);
        isWaiting = isWaiting || !target.queue.empty();
    }
    loop_.removeTimer(std::exchange(timer_, 0));
    if (!isWaiting) close();
    if (!next) return;
    const auto call = [this] {
        timer_ = 0;
        retryDue();
    };
    timer_ = loop_.addTimer(call, std::max(*next - tn::sinceBoot(), Time::zero()));
}

}  // namespace snmp
