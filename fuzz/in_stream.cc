// Reads any octets with every getter, at every position that entering and skipping values reaches. A name that was read
// can be written, and split into keys.
#include <algorithm>

#include "agent/ber/in_stream.h"
#include "agent/ber/out_stream.h"
#include "agent/ber/tags.h"
#include "agent/ber/variable_binding.h"
#include "tn/log.h"

namespace {

/// Reads the keys of a row from a name, in every way, and values from their texts.
void readKeys(const snmp::OID& oid, const std::string& text) {
    snmp::OutStream out;
    for (const uint8_t tag : {snmp::tag::ObjectIdentifier, snmp::tag::OctetString, snmp::tag::Null,
                              snmp::tag::IpAddress, snmp::tag::Integer, snmp::tag::Opaque})
        out.addVarBind({oid, tag, text});
    out.addBits(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned int>(text.size()), 3);
    using Pop = bool (*)(snmp::OID&, snmp::OID*);
    constexpr Pop kPops[] = {[](snmp::OID& o, snmp::OID* key) { return o.popOID(key); },
                             [](snmp::OID& o, snmp::OID* key) { return o.popOID(2, key); },
                             [](snmp::OID& o, snmp::OID* key) { return o.popString(key); },
                             [](snmp::OID& o, snmp::OID* key) { return o.popString(2, key); },
                             [](snmp::OID& o, snmp::OID* key) { return o.popIP(key); },
                             [](snmp::OID& o, snmp::OID* key) { return o.popIP6(key); },
                             [](snmp::OID& o, snmp::OID* key) { return o.popUnsigned(key); }};
    for (const Pop pop : kPops) {
        snmp::OID rest = oid, key, inner;
        std::string name;
        unsigned int number = 0;
        tn::IPAddr6 address;
        if (pop(rest, &key) && key + rest != oid) __builtin_trap();
        (void)key.asUnsigned(&number), (void)key.asIP(&number), (void)key.asIP6(&address), (void)key.asString(&name);
        (void)key.asString(2, &name), (void)key.asOID(2, &inner), (void)key.asOID(&inner);
        if (key.compare(0, key.size(), oid) > 0) __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tn::strangersOut.mute();
    size = std::min<size_t>(size, 4096);  // each step copies the message
    snmp::InStream in({data, size});
    for (size_t step = 0; step < size && in.getType() != snmp::kNoTag; ++step) {
        unsigned number = 0;
        unsigned long long wide = 0;
        std::vector<unsigned char> bits;
        snmp::OID oid, again;
        using At = snmp::InStream;  // each getter reads a copy, so that all start at the same octet
        At(in).getInt(&number), At(in).get64(&wide), At(in).getNull(), At(in).getBits(&bits);
        snmp::OutStream out;
        if (At(in).getOID(&oid)) out.addOID(oid, snmp::tag::ObjectIdentifier);
        if (out.size() > 0 && out.size() < 65536 && (!At(out.bytes()).getOID(&again) || again != oid)) __builtin_trap();
        std::string text;
        At(in).getString(&text);
        readKeys(oid, text);
        if ((in.getType() & 0x20) != 0 ? in.enterSeq() < 0 : !in.getString(&text)) break;
        while (in.isSeqEnd() && in.getType() != snmp::kNoTag) in.exitSeq();
    }
    return 0;
}
