#include "agent/mib/context.h"

#include <memory>

namespace snmp {

std::array<uint32_t, kV3Errors> Context::v3counters{};

void Context::begin(std::span<const uint8_t> datagram) {
    in.read(datagram);
    out.clear();
    view = nullptr;
    version = kVersion1;
    community.clear();
    pduType = kNoTag;
    v3Error = V3Error::None;
    refusal = Counter::None;
    requestedName.clear();
    bindingIndex = 0;
    oid.clear();
    branchPrefix.clear();
    setPrefix.clear();
    setSuffix.clear();
    branchStatus = ErrorStatus::NoError;
    nonRepeaters = 0;
    maxRepetitions = 0;
    pendingEndOfView = 0;
}

bool Context::end() {
    fetched.drop();
    if (in.capacity() <= kRetainedRequest && out.capacity() <= kRetainedReply) return false;
    const Rules* const kept = rules;
    // An assignment would keep the memory of strings, since the new ones are empty.
    std::destroy_at(this);
    std::construct_at(this, std::span<const uint8_t>());
    rules = kept;
    return true;
}

bool Context::processSeqStart() {
    ++bindingIndex;
    if (in.enterSeq() < 0 || !in.getOID(&requestedName)) return false;
    // The reader divides any first octet by 40, but the writer refuses first arcs above 2: no reply can have such a
    // name.
    if (requestedName.front() > kGreatestFirstArc) return false;
    oid = requestedName;
    return true;
}

bool Context::processSeqEnd() {
    in.exitSeq();
    return true;
}

void Context::processAddError(uint8_t tag) {
    out.addOID(requestedName, tag::ObjectIdentifier);
    out.addNull(tag);
}

void Context::addEndOfMibView(const OID& name) {
    for (; pendingEndOfView > 0 && !out.hasOverflowed(); --pendingEndOfView) {
        out.startSeq(tag::Sequence);
        {
            out.addOID(name, tag::ObjectIdentifier);
            out.addNull(tag::EndOfMibView);
        }
        out.endSeq();
    }
}

std::vector<RequestItem> Context::peek(const OID& prefix) {
    const bool counting = nonRepeaters != 0;
    std::vector<RequestItem> items{{oid}};
    if (counting && --nonRepeaters == 0) return items;

    InStream::StreamPos last;
    in.saveSeq(last);
    in.exitSeq();
    OID name;
    while (!in.isSeqEnd() && in.enterSeq() >= 0 && in.getOID(&name) && name.hasPrefix(prefix) && isInView(name)) {
        items.push_back({OID(name.data() + prefix.size(), name.data() + name.size())});
        in.saveSeq(last);
        in.exitSeq();
        if (counting && --nonRepeaters == 0) break;
    }
    in.restoreSeq(last);
    return items;
}

}  // namespace snmp
