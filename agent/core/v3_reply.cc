#include "agent/core/v3_reply.h"

#include <algorithm>
#include <sstream>

#include "agent/core/snmp_looper.h"
#include "agent/log.h"
#include "agent/modules/usm_module.h"

namespace snmp {

namespace {

constexpr size_t kDumped = 150;  // octets of a bad message that are logged: ten lines, header included

constexpr std::array<std::string_view, kV3Errors> kV3ErrorText = {
    "unsupported security level",
    "not in time window or incorrect engine boots",
    "unknown user name",
    "unknown engine id",
    "wrong digest",
    "decryption error",
};

const UserKeys& keysOf(const Item* entry) {
    static const UserKeys none;
    return entry != nullptr ? loop->communities().keysOf(*entry) : none;
}

bool drop(const Context& c, std::string_view why) {
    dlog << why;
    std::stringstream octets;
    UberStream(c.in.bytes().first(std::min(c.in.size(), kDumped))).dump(octets);
    for (std::string line; std::getline(octets, line);) tn::strangersErr << "v3 packet: " << line;
    return false;
}

void countError(const Context& c) {
    const auto index = static_cast<size_t>(c.v3Error);
    if (!dlog.isMuted()) dlog << "v3 err: " << std::hex << index << " " << kV3ErrorText[index];
    ++Context::v3counters[index];
}

}  // namespace

bool admitUser(Context& c, const IPAddr6& source, const Item*& entry) {
    if (!c.in.readV3Info(c.v3Error)) return drop(c, "bad v3 packet");
    c.community = c.in.v3Info().msgUserName;
    if (!slog.isMuted()) slog << "user: " << c.community;
    entry = loop->communities().find(c.community);
    const bool strict = loop->v3Server().strictDigest;
    // To strangers a strict agent has no users: it signs nothing that they could try passwords on.
    if (strict && entry != nullptr && !entry->accepts(source)) entry = nullptr;
    uint32_t level = c.in.securityLevel();
    const bool isBelow = entry != nullptr && level < entry->security;
    const auto found = [&c](V3Error what) {  // the first one is reported
        if (c.v3Error == V3Error::None) c.v3Error = what;
    };
    if (isBelow && !strict) found(V3Error::UnsupportedLevel);
    const UserKeys& keys = keysOf(entry);
    if (!c.in.decryptAndCheckSignature(c.v3Error, keys, loop->v3Server())) return drop(c, "bad v3 packet signature");
    // The PDU type says whether a Report may be sent, or a flag when the PDU can't be read (RFC 3412, 7.1).
    if (c.in.isSealed() && (c.in.v3Info().msgFlags[0] & kReportableFlag) == 0) return drop(c, "bad v3 packet digest");
    if (isBelow) found(V3Error::UnsupportedLevel);
    if (entry == nullptr || !entry->accepts(source)) found(V3Error::UnknownUserName);
    if (c.v3Error == V3Error::UnknownUserName || keys.digest.empty() || (strict && !c.in.isAuthenticated()))
        level = security_level::None;
    if (level == security_level::None) c.in.clearAuthPrivInfo();
    if (c.v3Error != V3Error::None) countError(c);
    c.out.writeV3Info(c.in.v3Info(), level);
    return true;
}

bool isReportable(uint8_t pduType) {
    constexpr uint8_t kUnconfirmed[] = {pdu::Response, pdu::TrapV1, pdu::TrapV2, pdu::Report};
    return std::find(std::begin(kUnconfirmed), std::end(kUnconfirmed), pduType) == std::end(kUnconfirmed);
}

ErrorStatus snmpV3(Context& c) {
    const auto index = static_cast<unsigned>(c.v3Error);
    c.out.startSeq(tag::Sequence);
    c.out.addOID(OID(kUsmStats) + (index + 1) + 0, tag::ObjectIdentifier);
    c.out.add(Context::v3counters[index], tag::Counter32);
    c.out.endSeq();
    return ErrorStatus::NoError;
}

bool closeV3(Context& c, const Item* entry) {
    const V3Info& info = c.in.v3Info();
    if (!c.out.cryptPacket(info, keysOf(entry))) return false;
    c.out.endSeq();  // message
    // A Report repeats names of the request of any length.
    return c.out.size() <= kMaxMessage && c.out.signPacket(info, keysOf(entry));
}

}  // namespace snmp
