#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "agent/ber/oid.h"
#include "agent/ber/tags.h"

namespace snmp {

/// Whether a Set can change an object. A Set of any other is answered and changes nothing.
enum class Access : uint8_t { ReadOnly, ReadWrite };

/// What people are shown of an object: its name in debug lines, all of it in docs/objects.md.
struct Object {
    std::string_view name;             ///< descriptor in its MIB, in static storage
    uint8_t syntax = kNoTag;           ///< BER tag of the value; kNoTag for the row of a table
    Access access = Access::ReadOnly;  ///< to columns and scalars
    std::string source;                ///< the owner's path, "the agent" or the constant
    std::string index;                 ///< of a row: the names of its index objects, ", " between
};

/// Every scalar, row and column that the agent can serve, by its OID without an instance. Filled at start-up from the
/// column tables, also with what isn't served before its owner has it. Objects registered without a column table
/// aren't here.
extern std::map<OID, Object> objects;

/// For the end of a debug line: " (ifDescr.3)" for 1.3.6.1.2.1.2.2.1.2.3; empty if the name lies under no object above.
[[nodiscard]] std::string nameNote(const OID& name);

/// An owner's path as people write it: "{20, 0}".
[[nodiscard]] std::string pathText(std::span<const uint32_t> path);

}  // namespace snmp
