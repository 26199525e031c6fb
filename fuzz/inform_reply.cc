// Passes datagrams to waiting informs as replies of their target. Whatever they contain, no inform ends twice, and an
// inform that was sent encrypted isn't acknowledged by less.
//
// The first octet selects: bits 0 and 1 the level of a message whose scoped PDU is the rest, 3 for a rest that is the
// datagram itself; bit 2 whether the target's engine is known.
#include <cstdlib>

#include "agent/status/statistics.h"
#include "fuzz/support/world.h"
#include "wire/manager.h"

namespace {

constexpr unsigned kLevels = 3, kKnown = 4;
constexpr uint32_t kV2cId = 5, kV3Id = 6;

/// A world with an inform of each version that waits for a target, which nobody is.
struct Waiting {
    World world;
    snmp::TrapTarget target{*tn::IPAddr6::parse("127.0.0.1"), 9};
    wire::Manager engine{.user = "informer",
                         .auth = 3,
                         .priv = 1,
                         .authPassword = "authentication",
                         .privPassword = "encryption",
                         .engineId = "\x80target"};
    uint32_t user = 0;

    Waiting() {
        namespace community = contracts::snmp::community;
        tn::message entry = tn::request(snmp::loop->communities().path(), tn::cmd::AddObj);
        entry.insert_string(community::Name, engine.user);
        entry.insert_u32(community::Security, 2);
        entry.insert_u32(community::AuthenticationProtocol, engine.auth);
        entry.insert_u32(community::EncryptionProtocol, engine.priv);
        entry.insert_string(community::AuthenticationPassword, engine.authPassword);
        entry.insert_string(community::EncryptionPassword, engine.privPassword);
        (void)snmp::loop->exchangeMessage(entry);
        user = snmp::loop->communities().find(engine.user)->id;
    }
    void begin(bool isKnown) {
        snmp::Informs& informs = snmp::loop->informs();
        informs.keepOnly({});
        snmp::statistics = {};
        informs.send(target, {.version = snmp::kVersion2c, .sender = 0, .id = kV2cId, .pdu = {}});
        informs.send(target, {.version = snmp::kVersion3, .sender = user, .id = kV3Id, .pdu = {}});
        if (!isKnown) return;
        const wire::Binding counter{"1.3.6.1.6.3.15.1.1.4.0", snmp::tag::Counter32, "1"};
        informs.accept(target,
                       message(0, wire::encode(wire::ScopedPdu{
                                      engine.engineId, "", {.pdu = snmp::pdu::Report, .bindings = {counter}}})));
    }
    wire::Bytes message(unsigned level, const wire::Bytes& scoped) {
        engine.level = level;
        wire::V3Message header = engine.header();
        header.id = kV3Id;
        return engine.seal(header, scoped);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Waiting waiting;
    if (size == 0) return 0;
    waiting.begin((data[0] & kKnown) != 0);
    const unsigned level = data[0] & kLevels;
    wire::Bytes datagram(data + 1, data + size);
    if (level != kLevels) datagram = waiting.message(level, datagram);
    for (int i = 0; i < 10; ++i) snmp::loop->informs().accept(waiting.target, datagram);
    const snmp::Tally& counts = snmp::statistics.counters;
    const uint64_t acknowledged = counts[snmp::Counter::InformsAcknowledged];
    if (acknowledged + counts[snmp::Counter::InformsLost] > 2 || (acknowledged > 0 && level < 2)) std::abort();
    return 0;
}
