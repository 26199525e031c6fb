// SNMPv3 from a manager that knows the keys: the input is the content of a valid envelope, or alters a valid message. A
// reply, if any, is well-formed, and authenticated and encrypted as its flags claim.
//
// The first octet selects: bits 0 and 1 the level, bit 2 the user, bit 3 the meaning of the rest, bit 4 a strict agent.
#include <algorithm>
#include <cstdlib>

#include "agent/core/create_reply.h"
#include "fuzz/support/world.h"
#include "wire/manager.h"

namespace {

constexpr unsigned kLevels = 3, kSha = 4, kAltered = 8, kStrict = 16;

/// A world whose agent has an engine id and two users.
struct Users {
    World world;
    Users() {
        tn::message engine = tn::request({snmp::loop->path()}, tn::cmd::Set);
        engine.insert_string(snmp::setting::EngineId, "fuzz");
        (void)snmp::loop->exchangeMessage(engine);
        for (const bool sha : {false, true}) {
            const wire::Manager manager = managerOf(sha);
            tn::message user = tn::request(snmp::loop->communities().path(), tn::cmd::AddObj);
            user.insert_string(contracts::snmp::community::Name, manager.user);
            user.insert_u32(contracts::snmp::community::AuthenticationProtocol, sha ? 1 : 0);
            user.insert_string(contracts::snmp::community::AuthenticationPassword, manager.authPassword);
            user.insert_string(contracts::snmp::community::EncryptionPassword, manager.privPassword);
            (void)snmp::loop->exchangeMessage(user);
        }
    }
    static wire::Manager managerOf(bool sha) {
        return {.user = sha ? "s" : "m",
                .sha = sha,
                .authPassword = "authentication",
                .privPassword = "encryption",
                .engineId = std::string("\x80\x00\xC3\x4F\x04", 5) + "fuzz"};
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
    wire::Manager manager = Users::managerOf((data[0] & kSha) != 0);
    manager.level = std::min(data[0] & kLevels, 2U);
    snmp::loop->v3Server().strictDigest = (data[0] & kStrict) != 0;
    static snmp::Context c({});  // one for all requests, as in the agent
    c.begin(message(manager, {data + 1, size - 1}, (data[0] & kAltered) != 0));
    if (!snmp::createReply(c, tn::IPAddr6::ofIPv4(0x7f000001))) return 0;

    std::string why;
    manager = Users::managerOf(c.community == "s");
    // An altered message may name another user; the world's own users have no passwords.
    if (c.community != "s" && c.community != "m") manager.authPassword = manager.privPassword = "";
    const auto reply = manager.open(c.out.bytes(), why);
    if (!reply || c.out.size() > snmp::kMaxMessage) std::abort();
    const uint8_t pdu = reply->scoped.body.pdu;
    if (pdu != (c.v3Error == snmp::V3Error::None ? snmp::pdu::Response : snmp::pdu::Report)) std::abort();
    return 0;
}
