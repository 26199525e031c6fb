// Any datagram through createReply over a populated tree: an answer, if there is one, is well formed and fits.
#include <cstdlib>

#include "agent/core/create_reply.h"
#include "fuzz/support/world.h"
#include "wire/codec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static World world;
    snmp::Context c({data, size});
    if (!snmp::createReply(c, tn::IPAddr6::ofIPv4(0x7f000001))) return 0;
    if (c.version == snmp::kVersion3) return 0;  // fuzz/usm.cc judges these
    std::string why;
    const auto reply = wire::decode(c.out.bytes(), why);
    if (!reply || c.out.size() > snmp::kMaxMessage || reply->pdu != snmp::pdu::Response) std::abort();
    // A walk only goes forward: the answer of a GetNext of one name is greater than the name.
    if (c.pduType == snmp::pdu::GetNextRequest && reply->errorStatus == 0 && reply->bindings.size() == 1) {
        const wire::Binding& next = reply->bindings.front();
        if (next.tag != snmp::tag::EndOfMibView && !(c.requestedName < snmp::OID(next.name))) std::abort();
    }
    return 0;
}
