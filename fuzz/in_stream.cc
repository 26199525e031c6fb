// Reads any octets with every getter, at every position that entering and skipping values reaches. A name that was read
// can be written.
#include <algorithm>

#include "agent/ber/in_stream.h"
#include "agent/ber/out_stream.h"
#include "agent/ber/tags.h"
#include "tn/log.h"

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
        if ((in.getType() & 0x20) != 0 ? in.enterSeq() < 0 : !in.getString(&text)) break;
        while (in.isSeqEnd() && in.getType() != snmp::kNoTag) in.exitSeq();
    }
    return 0;
}
