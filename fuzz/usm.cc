// SNMPv3 from a manager that knows the keys: the input is the content of a valid envelope, or alters a valid message. A
// reply, if any, is well-formed, and authenticated and encrypted as its flags claim.
//
// The first octet selects: bits 0 and 1 the level, bits 2, 5 and 6 one of 8 users with different pairs of protocols,
// bit 3 the meaning of the rest, bit 4 a strict agent, bit 7 the rules of --standard.
#include <algorithm>
#include <cstdlib>

#include "agent/core/create_reply.h"
#include "fuzz/support/world.h"
#include "wire/manager.h"

namespace {

constexpr unsigned kLevels = 3, kAltered = 8, kStrict = 16, kStandard = 128, kUsers = 8;

unsigned userOf(unsigned octet) { return (octet >> 2 & 1) | (octet >> 5 & 3) << 1; }

/// A world whose agent has an engine id and the users "a" to "h".
struct Users {
    World world;
    Users() {
        tn::message engine = tn::request({snmp::loop->path()}, tn::cmd::Set);
        engine.insert_string(snmp::setting::EngineId, "fuzz");
        (void)snmp::loop->exchangeMessage(engine);
        for (unsigned number = 0; number < kUsers; ++number) {
            const wire::Manager manager = managerOf(number);
            tn::message user = tn::request(snmp::loop->communities().path(), tn::cmd::AddObj);
            user.insert_string(contracts::snmp::community::Name, manager.user);
            user.insert_u32(contracts::snmp::community::AuthenticationProtocol, manager.auth);
            user.insert_u32(contracts::snmp::community::EncryptionProtocol, manager.priv);
            user.insert_string(contracts::snmp::community::AuthenticationPassword, manager.authPassword);
            user.insert_string(contracts::snmp::community::EncryptionPassword, manager.privPassword);
            (void)snmp::loop->exchangeMessage(user);
        }
    }
    static wire::Manager managerOf(unsigned number) {
        return {.user = std::string(1, static_cast<char>('a' + number)),
                .auth = number % 6,
                .priv = number / 2 % 4,
                .authPassword = "authentication",
                .privPassword = "encryption",
                .engineId = std::string("\x80\x00\xC3\x4F\x04", 5) + "fuzz"};
    }
    /// An altered message may name any user. The world's own users have no passwords.
    static wire::Manager managerOf(const std::string& name) {
        const bool isOurs = name.size() == 1 && name[0] >= 'a' && name[0] < static_cast<char>('a' + kUsers);
        if (isOurs) return managerOf(static_cast<unsigned>(name[0] - 'a'));
        wire::Manager other = managerOf(0U);
        other.authPassword = other.privPassword = "";
        return other;
    }
};

wire::Bytes message(const wire::Manager& manager, std::span<const uint8_t> rest, bool altered) {
    if (!altered) return manager.seal(manager.header(), {rest.begin(), rest.end()});
    wire::Bytes octets =
        manager.request({.pdu = snmp::pdu::GetNextRequest, .bindings = {{"1.3.6.1.2.1.1.1.0", snmp::tag::Null, ""}}});
    // Two octets each: a position and an XOR mask. A single last octet truncates the message.
    for (; rest.size() > 1; rest = rest.subspan(2)) octets[rest[0] % octets.size()] ^= rest[1];
    if (!rest.empty()) octets.resize(std::min<size_t>(octets.size(), rest[0]));
    return octets;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Users users;
    if (size == 0) return 0;
    wire::Manager manager = Users::managerOf(userOf(data[0]));
    manager.level = std::min(data[0] & kLevels, 2U);
    snmp::loop->v3Server().strictDigest = (data[0] & kStrict) != 0;
    snmp::loop->setRules((data[0] & kStandard) != 0 ? snmp::kStandardRules : snmp::kFixedRules);
    static snmp::Context c({});  // one for all requests, as in the agent
    c.rules = snmp::loop->v3Server().rules;
    const wire::Bytes request = message(manager, {data + 1, size - 1}, (data[0] & kAltered) != 0);
    c.begin(request);
    if (!snmp::createReply(c, tn::IPAddr6::ofIPv4(0x7f000001))) return 0;

    std::string why;
    const auto reply = Users::managerOf(c.community).open(c.out.bytes(), why);
    if (c.out.size() > c.out.limit()) std::abort();
    // A standard error response repeats the request's varbinds as they are, which the strict decoder may refuse.
    if (!reply && c.rules->doErrorsRepeatList && !manager.open(request, why)) return 0;
    if (!reply) std::abort();
    const uint8_t pdu = reply->scoped.body.pdu;
    if (pdu != (c.v3Error == snmp::V3Error::None ? snmp::pdu::Response : snmp::pdu::Report)) std::abort();
    return 0;
}
