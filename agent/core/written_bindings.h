#pragma once

#include <span>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/out_stream.h"

namespace snmp {

/// A varbind that a branch has written to a reply.
struct WrittenBinding {
    OID name;
    uint8_t tag;                      ///< of the value; kNoTag if the value couldn't be encoded
    std::span<const uint8_t> octets;  ///< the whole varbind, valid until the reply is changed
};

/// The varbinds from a position of the reply on. Ends before one whose name couldn't be encoded, or that is too long.
[[nodiscard]] std::vector<WrittenBinding> writtenBindings(const OutStream& reply, size_t begin);

}  // namespace snmp
