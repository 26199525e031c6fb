#include "agent/core/written_bindings.h"

#include <utility>

#include "agent/ber/in_stream.h"
#include "agent/ber/tags.h"

namespace snmp {

std::vector<WrittenBinding> writtenBindings(const OutStream& reply, size_t begin) {
    std::vector<WrittenBinding> all;
    const std::span<const uint8_t> written = reply.bytes().subspan(begin);
    InStream in(written);
    while (!in.isSeqEnd()) {
        const size_t from = in.position();
        OID name;
        // A value of 64 KiB or more leaves the length of its varbind 0.
        if (in.enterSeq() <= 0 || in.getType() != tag::ObjectIdentifier || !in.getOID(&name)) break;
        const uint8_t type = in.isSeqEnd() ? kNoTag : in.getType();
        in.exitSeq();
        all.push_back({std::move(name), type, written.subspan(from, in.position() - from)});
    }
    return all;
}

}  // namespace snmp
