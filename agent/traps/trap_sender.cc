#include "agent/traps/trap_sender.h"

#include <cerrno>
#include <cstring>

#include "agent/ber/tags.h"
#include "agent/log.h"
#include "agent/mib/context.h"
#include "agent/status/statistics.h"
#include "agent/traps/v3_header.h"

namespace snmp {

namespace {

constexpr std::initializer_list<unsigned int> kSysUpTime = {1, 3, 6, 1, 2, 1, 1, 3, 0};
constexpr std::initializer_list<unsigned int> kSnmpTrapOid = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};

/// snmpTrapOID of a trap (RFC 3584, 3.1).
OID nameOf(const Trap& trap) {
    return trap.generic == generic_trap::EnterpriseSpecific ? trap.oid + OID{0, trap.specific} : trap.oid;
}

/// How v1 names a trap.
struct V1Name {
    OID enterprise;
    unsigned int generic = 0;
    unsigned int specific = 0;
};

/// Translates snmpTrapOID (RFC 3584, 3.2). Standard traps get the enterprise snmpTraps.
V1Name translated(OID name) {
    const OID snmpTraps = {1, 3, 6, 1, 6, 3, 1, 1, 5};
    const unsigned int last = name.back();
    name.pop_back();
    if (name == snmpTraps && last >= 1 && last <= generic_trap::EnterpriseSpecific) return {name, last - 1, 0};
    if (!name.empty() && name.back() == 0) name.pop_back();
    return {name, generic_trap::EnterpriseSpecific, last};
}

V1Name v1NameOf(const Trap& trap) {
    const OID name = nameOf(trap);
    if (trapRules->v1TrapsAreTranslated && !name.empty()) return translated(name);
    return {trap.oid, trap.generic, trap.specific};  // compat: 83
}

/// For request-id and msgID: 31 bits (RFC 3412, 6).
uint32_t randomNumber() { return tn::sources().random32() >> 1; }

std::optional<Trap> makeOrLog(const tn::message& message) {
    std::optional<Trap> trap = makeTrap(message);
    if (!trap) serr << "Could not handle trap, msg dump: " << message;  // compat: 114
    return trap;
}

void addBindings(OutStream& out, const std::vector<VariableBinding>& bindings) {
    for (const VariableBinding& binding : bindings) out.addVarBind(binding);
}

}  // namespace

void TrapSender::send_trap(const tn::message& message) {
    if (!settings_.get(setting::Enabled)) {
        serr << "send_trap: snmp disabled";
        return;
    }
    if (settings_.trapTargets().empty() || settings_.get(setting::TrapCommunity) == tn::kNoId) {
        serr << "send_trap: no trap sink specified";
        return;
    }
    if (settings_.sendsInforms()) return sendInforms(message);
    if (!socket_.open()) {
        swarn << "send_trap: failed to open UDP socket: " << std::strerror(errno);
        statistics.counters.add(Counter::TrapsFailed, settings_.trapTargets().size());
        return;
    }
    if (sendToTargets(message)) socket_.close();  // compat: 85
}

std::vector<TrapTarget> TrapSender::targets() const {
    std::vector<TrapTarget> all = settings_.trapTargets();
    for (TrapTarget& target : all)
        if (target.port == 0) target.port = port_;
    return all;
}

void TrapSender::settingsChanged() {
    const bool sendsInforms = settings_.get(setting::Enabled) && settings_.sendsInforms();
    informs_.keepOnly(sendsInforms ? targets() : std::vector<TrapTarget>());
}

void TrapSender::sendInforms(const tn::message& message) {
    const Item* sender = findSender();
    const std::optional<Trap> trap = sender != nullptr ? makeOrLog(message) : std::nullopt;
    if (!trap) {
        swarn << "send_trap: createTrap failed";
        return;
    }
    for (const TrapTarget& target : targets()) {
        const uint32_t id = randomNumber();
        OutStream pdu;
        addNotification(pdu, id, *trap);
        informs_.send(target, {.version = settings_.get(setting::TrapVersion),
                               .sender = sender->id,
                               .id = id,
                               .pdu = {pdu.bytes().begin(), pdu.bytes().end()}});
    }
}

bool TrapSender::sendToTargets(const tn::message& message) {
    std::optional<Trap> trap;
    for (const TrapTarget& target : targets()) {
        if (!socket_.connect(target.address, target.port)) {
            swarn << "send_trap: failed to connect: " << std::strerror(errno);
            statistics.counters.add(Counter::TrapsFailed);
            continue;
        }
        const std::optional<IPAddr6> local = socket_.local();
        if (!local) {
            swarn << "send_trap: failed to getsockname: " << std::strerror(errno);
            statistics.counters.add(Counter::TrapsFailed);
            return false;
        }
        UsmWriter out;
        if (!createTrap(out, message, *local, trap)) {
            swarn << "send_trap: createTrap failed";
            if (trap) statistics.counters.add(Counter::TrapsFailed);  // otherwise there is nothing to send
            return false;
        }
        const bool isSent = socket_.send(out.bytes());
        if (!isSent) swarn << "send_trap: failed to send trap packet: " << std::strerror(errno);
        statistics.counters.add(isSent ? Counter::TrapsSent : Counter::TrapsFailed);
    }
    return true;
}

const Item* TrapSender::findSender() const {
    const Item* sender = communities_.findId(settings_.get(setting::TrapCommunity));
    if (sender != nullptr) return sender;
    swarn << "createTrap: bad community";
    statistics.counters.add(Counter::TrapsFailed);
    return nullptr;
}

bool TrapSender::createTrap(UsmWriter& out, const tn::message& message, const IPAddr6& local,
                            std::optional<Trap>& trap) const {
    const Item* community = findSender();
    if (community == nullptr) return false;
    if (!trap) trap = makeOrLog(message);
    if (!trap) return false;
    out.startSeq(tag::Sequence);
    const uint32_t version = settings_.get(setting::TrapVersion);
    out.add(version, tag::Integer);
    if (version == kVersion3) return addSecured(out, *community, *trap);
    out.add(community->name, tag::OctetString);
    if (version == kVersion1) {
        addPduV1(out, *trap, local);
    } else {
        addPduV2(out, *trap);
    }
    out.endSeq();
    return true;
}

// Writes all that follows the version, at the user's security level, and closes the message.
bool TrapSender::addSecured(UsmWriter& out, const Item& user, const Trap& trap) const {
    serr << "snmp v3 trap";
    const V3Info header = headerFor(user);
    const UserKeys& keys = communities_.keysOf(user);
    out.writeV3Info(header, user.security);
    addPduV2(out, trap);
    if (!out.cryptPacket(header, keys)) return false;
    out.endSeq();
    return out.signPacket(header, keys);
}

V3Info TrapSender::headerFor(const Item& user) const {
    V3Info header = notificationHeader(user, user.security, engine_);
    header.msgID = randomNumber();
    header.msgAuthoritativeEngineID = engine_.engineId;
    header.msgAuthoritativeEngineBoots = engine_.engineBoots;
    header.msgAuthoritativeEngineTime = engine_.engineTime();
    return header;
}

void TrapSender::addPduV1(OutStream& out, const Trap& trap, const IPAddr6& local) const {
    const V1Name name = v1NameOf(trap);
    out.startSeq(pdu::TrapV1);
    out.addOID(name.enterprise, tag::ObjectIdentifier);
    // agent-addr can't hold an IPv6 address: 0.0.0.0 instead (RFC 3584, 3.2).
    out.addByType(local.isIPv4() ? local.str() : "0.0.0.0", tag::IpAddress);
    out.add(name.generic, tag::Integer);
    out.add(name.specific, tag::Integer);
    out.add(upTime(), tag::TimeTicks);
    out.startSeq(tag::Sequence);
    addBindings(out, trap.bindings);
    out.endSeq();
    out.endSeq();
}

void TrapSender::addPduV2(OutStream& out, const Trap& trap) const {
    out.startSeq(pdu::TrapV2);
    addNotification(out, randomNumber(), trap);
    out.endSeq();
}

void TrapSender::addNotification(OutStream& out, uint32_t requestId, const Trap& trap) const {
    out.add(requestId, tag::Integer);
    out.addErrorStatus(0);
    out.addErrorIndex(0);
    out.startSeq(tag::Sequence);
    out.startSeq(tag::Sequence);
    out.addOID(OID(kSysUpTime), tag::ObjectIdentifier);
    out.add(upTime(), tag::TimeTicks);
    out.endSeq();
    out.startSeq(tag::Sequence);
    out.addOID(OID(kSnmpTrapOid), tag::ObjectIdentifier);
    out.addOID(nameOf(trap), tag::ObjectIdentifier);
    out.endSeq();
    addBindings(out, trap.bindings);
    out.endSeq();
}

}  // namespace snmp
