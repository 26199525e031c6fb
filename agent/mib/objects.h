#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "agent/ber/oid.h"
#include "agent/ber/tags.h"

namespace snmp {

/// Whether a Set can change an object. A Set of a read-only column succeeds and changes nothing (compat: 28); with
/// --standard it gives notWritable.
enum class Access : uint8_t { ReadOnly, ReadWrite };

/// The description of an object. Debug lines show the name, docs/objects.md shows all. Access and length decide which
/// Sets are accepted (Packer::checkObject); otherwise it has no effect on requests.
struct Object {
    std::string_view name;             ///< descriptor in its MIB, in static storage
    uint8_t syntax = kNoTag;           ///< BER tag of the value; kNoTag for the entry of a table
    Access access = Access::ReadOnly;  ///< of a scalar or column
    std::string source;                ///< path of the owner, "the agent", or the constant
    std::string index;                 ///< of an entry: the names of its index objects, separated by ", "
    unsigned int maxLength = 255;      ///< of an OCTET STRING in a Set, in octets
};

/// All scalars, entries and columns that the agent can serve, by their OID without an instance. Filled at start from
/// the column tables, including objects that are served only once their owner reports them. Objects registered without
/// a column table aren't here.
extern std::map<OID, Object> objects;

/// For the end of a debug line: " (ifDescr.3)" for 1.3.6.1.2.1.2.2.1.2.3. Empty if no object in `objects` is a prefix
/// of the name.
[[nodiscard]] std::string nameNote(const OID& name);

/// The path of an owner as text: "{20, 0}".
[[nodiscard]] std::string pathText(std::span<const uint32_t> path);

}  // namespace snmp
