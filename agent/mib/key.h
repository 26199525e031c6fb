#pragma once

#include <cstdint>

#include "agent/ber/oid.h"
#include "tn/message.h"

namespace snmp {

/// The position of a row in its owner's terms. A table with the standard key names rows by object id, any other by a
/// message of index fields.
struct Key {
    bool bad = false;        ///< the index of a strict request didn't decode: it names no row
    bool skipFirst = false;  ///< the rows after the key are wanted, not the row at it
    bool relaxed = false;    ///< incomplete: the owner starts at the nearest row
    uint32_t objectId = tn::kNoId;
    uint32_t nextId = tn::kNoId;  ///< id of the row after it, as the owner gave it with the row
    tn::message message;
    OID index;  ///< the index asked for, whole: no row at or before it answers a GetNext

    void clear() { *this = Key(); }
    /// Whether it names no row, which is the position before the first one.
    [[nodiscard]] bool empty() const { return objectId == tn::kNoId && nextId == tn::kNoId && message.empty(); }
    /// The same position; neither flags nor the index as asked count.
    friend bool operator==(const Key& a, const Key& b) {
        return a.objectId == b.objectId && a.nextId == b.nextId && a.message == b.message;
    }
    /// A copy whose object id has the bits of `mask` cleared; an empty key stays empty.
    [[nodiscard]] Key removeNamespace(uint32_t mask) const {
        Key copy = *this;
        if (!empty()) copy.objectId &= ~mask;
        return copy;
    }
};

}  // namespace snmp
