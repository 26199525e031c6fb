#include "agent/core/v3_reply.h"

#include <algorithm>
#include <sstream>

#include "agent/core/snmp_looper.h"
#include "agent/log.h"
#include "agent/security/v3_errors.h"

namespace snmp {

namespace {

constexpr size_t kDumped = 150;  // octets of a bad message that are logged: ten lines

const UserKeys& keysOf(const Item* entry) {
    static const UserKeys none;
    return entry != nullptr ? loop->communities().keysOf(*entry) : none;
}

bool drop(Context& c, Counter cause, std::string_view why) {
    c.refuse(cause);
    dlog << why;
    std::stringstream octets;
    UberStream(c.in.bytes().first(std::min(c.in.size(), kDumped))).dump(octets);
    for (std::string line; std::getline(octets, line);) tn::strangersErr << "v3 packet: " << line;
    return false;
}

/// Stores the first fault found, which is the one reported.
void report(Context& c, V3Error error) {
    if (c.v3Error == V3Error::None) c.v3Error = error;
}

/// The entry of the message's user; nullptr if there is none. A strict agent also returns nullptr if the entry doesn't
/// accept the source: it then signs no reply on which passwords could be guessed.
const Item* findUser(Context& c, const IPAddr6& source) {
    c.community = c.in.v3Info().msgUserName;
    if (!slog.isMuted()) slog << "user: " << c.community;
    const Item* entry = loop->communities().find(c.community);
    const bool isHidden = loop->v3Server().isStrict() && entry != nullptr && !entry->accepts(source);
    return isHidden ? nullptr : entry;
}

/// Why a message of this user can't be admitted.
/// @param otherwise  the cause if the user is known, may send from this source and has keys
Counter causeOf(const Context& c, const IPAddr6& source, Counter otherwise) {
    const Item* entry = loop->communities().find(c.community);  // also one that is hidden
    if (entry == nullptr) return Counter::UnknownUser;
    if (!entry->accepts(source)) return Counter::WrongSource;
    return keysOf(entry).digest.empty() ? Counter::NoKeys : otherwise;
}

void countError(Context& c, const IPAddr6& source) {
    const V3ErrorKind& kind = kindOf(c.v3Error);
    if (!dlog.isMuted()) dlog << "v3 err: " << std::hex << static_cast<unsigned>(c.v3Error) << " " << kind.text;
    ++Context::v3counters[static_cast<size_t>(c.v3Error)];
    c.refuse(c.v3Error == V3Error::UnknownUserName ? causeOf(c, source, kind.cause) : kind.cause);
}

Counter causeOfUnreadable(const Context& c, const IPAddr6& source) {
    if (c.in.securityLevel() != security_level::Private) return Counter::Malformed;
    return causeOf(c, source, c.in.isAuthenticated() ? Counter::Decryption : Counter::WrongDigest);
}

/// The security level of the reply: that of the request, but None for an unknown user, for one without keys, and, if
/// the agent is strict, for an unauthenticated message. With Rules::isUsmStandard, most Reports have None.
uint32_t replyLevel(const Context& c, const Item* entry) {
    const V3ServerInfo& server = loop->v3Server();
    const bool isForged = server.isStrict() && !c.in.isAuthenticated();  // compat: 51
    const bool hasKey = c.v3Error != V3Error::UnknownUserName && !keysOf(entry).digest.empty();
    if (!hasKey || isForged) return security_level::None;
    const bool isLimited = server.rules->isUsmStandard && c.v3Error != V3Error::None;
    return isLimited ? std::min(c.in.securityLevel(), kindOf(c.v3Error).reportLevel) : c.in.securityLevel();
}

void checkContext(Context& c) {
    const V3Info& info = c.in.v3Info();
    if (info.contextEngineID != loop->v3Server().engineId) report(c, V3Error::UnknownPduHandler);
    if (!info.contextName.empty()) report(c, V3Error::UnknownContext);
}

}  // namespace

bool admitUser(Context& c, const IPAddr6& source, const Item*& entry) {
    V3ServerInfo& server = loop->v3Server();
    const Rules& rules = *server.rules;
    if (!c.in.readV3Info(c.v3Error, rules)) {
        if (c.v3Error != V3Error::None) countError(c, source);
        return drop(c, Counter::Malformed, "bad v3 packet");
    }
    if (rules.isMaxSizeRespected) c.out.setLimit(c.in.v3Info().msgMaxSize);
    entry = findUser(c, source);
    const bool isBelow = entry != nullptr && c.in.securityLevel() < entry->security;
    if (rules.isUsmStandard) {
        c.in.checkEngine(c.v3Error, server);
        if (entry == nullptr) report(c, V3Error::UnknownUserName);
    }
    // --strict-usm alone checks the digest first.
    if (isBelow && (rules.isUsmStandard || !server.isStrict())) report(c, V3Error::UnsupportedLevel);
    if (!c.in.decryptAndCheckSignature(c.v3Error, keysOf(entry), server))
        return drop(c, causeOfUnreadable(c, source), "bad v3 packet signature");
    if (isBelow) report(c, V3Error::UnsupportedLevel);
    if (entry == nullptr || !entry->accepts(source)) report(c, V3Error::UnknownUserName);  // compat: 57
    if (rules.isContextChecked) checkContext(c);
    if (c.v3Error != V3Error::None) countError(c, source);
    // The PDU type decides whether a Report may be sent. If the PDU can't be read, msgFlags does (RFC 3412, 7.1).
    if (c.in.isSealed() && !c.in.isReportable()) return drop(c, Counter::WrongDigest, "bad v3 packet digest");
    const uint32_t level = replyLevel(c, entry);
    c.in.lowerTo(level);
    c.out.writeV3Info(c.in.v3Info(), level);
    return true;
}

bool isReportable(uint8_t pduType) {
    constexpr uint8_t kUnconfirmed[] = {pdu::Response, pdu::TrapV1, pdu::TrapV2, pdu::Report};
    return std::find(std::begin(kUnconfirmed), std::end(kUnconfirmed), pduType) == std::end(kUnconfirmed);
}

ErrorStatus snmpV3(Context& c) {
    const V3ErrorKind& kind = kindOf(c.v3Error);
    c.out.startSeq(tag::Sequence);
    c.out.addOID(OID(kind.group) + kind.counter + 0, tag::ObjectIdentifier);
    c.out.add(Context::v3counters[static_cast<size_t>(c.v3Error)], tag::Counter32);
    c.out.endSeq();
    return ErrorStatus::NoError;
}

bool closeV3(Context& c, const Item* entry) {
    const V3Info& info = c.in.v3Info();
    if (!c.out.cryptPacket(info, keysOf(entry))) return false;
    c.out.endSeq();  // message
    // The reply repeats the request's user name and context, which can be long.
    return c.out.size() <= c.out.limit() && c.out.signPacket(info, keysOf(entry));
}

}  // namespace snmp
