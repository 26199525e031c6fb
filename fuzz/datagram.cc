// Passes any datagram to createReply with a populated tree: a reply, if any, is well-formed and fits in a datagram. The
// datagram follows one octet, whose bit 0 selects the rules of --standard.
#include <cstdlib>

#include "agent/core/create_reply.h"
#include "fuzz/support/world.h"
#include "wire/codec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static World world;
    if (size == 0) return 0;
    snmp::loop->setRules((data[0] & 1) != 0 ? snmp::kStandardRules : snmp::kFixedRules);
    snmp::Context c({data + 1, size - 1});
    c.rules = snmp::loop->v3Server().rules;
    if (!snmp::createReply(c, tn::IPAddr6::ofIPv4(0x7f000001))) return 0;
    if (c.version == snmp::kVersion3) return 0;  // see fuzz/usm.cc
    std::string why;
    const auto reply = wire::decode(c.out.bytes(), why);
    if (c.out.size() > snmp::kMaxMessage) std::abort();
    // A standard error response repeats the request's varbinds as they are, which the strict decoder may refuse.
    if (!reply && c.rules->doErrorsRepeatList && !wire::decode({data + 1, size - 1}, why)) return 0;
    if (!reply || reply->pdu != snmp::pdu::Response) std::abort();
    // Walks strictly increase: the name in the reply to a GetNext of one name is greater than that name.
    if (c.pduType == snmp::pdu::GetNextRequest && reply->errorStatus == 0 && reply->bindings.size() == 1) {
        const wire::Binding& next = reply->bindings.front();
        if (next.tag != snmp::tag::EndOfMibView && !(c.requestedName < snmp::OID(next.name))) std::abort();
    }
    return 0;
}
