#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "agent/ber/oid.h"
#include "tn/message.h"

namespace snmp {

/// The message fields that a request for rows needs besides those of the index: full ids, in ascending order.
using WantedFields = std::vector<uint32_t>;

/// The position of a row, as its owner knows it. A table with the standard key (MapTable::hasStdKey) identifies rows by
/// object id, any other table by a message of index fields. An empty key is the position before the first row.
struct Key {
    bool bad = false;        ///< the index didn't decode, so there is no such row (Table::createKey, strict)
    bool skipFirst = false;  ///< request the rows after the key, without the row at it
    bool relaxed = false;    ///< the index is incomplete: request the rows from the nearest one on
    uint32_t objectId = tn::kNoId;
    uint32_t nextId = tn::kNoId;         ///< id of the following row, if the owner reported it (tn::field::NextId)
    tn::message message;                 ///< the index fields
    OID index;                           ///< the whole index as requested. A GetNext is answered only with greater ones
    std::optional<WantedFields> wanted;  ///< request only these fields of the rows; all if absent

    void clear() { *this = Key(); }
    /// Whether this is the position before the first row.
    [[nodiscard]] bool empty() const { return objectId == tn::kNoId && nextId == tn::kNoId && message.empty(); }
    /// Whether the positions are the same. Flags, the requested index and fields aren't compared.
    friend bool operator==(const Key& a, const Key& b) {
        return a.objectId == b.objectId && a.nextId == b.nextId && a.message == b.message;
    }
    /// A copy whose object id has the bits in `mask` cleared. An empty key stays empty.
    [[nodiscard]] Key removeNamespace(uint32_t mask) const {
        Key copy = *this;
        if (!empty()) copy.objectId &= ~mask;
        return copy;
    }
};

}  // namespace snmp
