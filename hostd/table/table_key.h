#pragma once

#include <cstddef>
#include <vector>

#include "hostd/table/row_key.h"

namespace hostd {

/// The first row that a request names, before it is looked for.
struct RequestedRow {
    RowKey key;            ///< the row's key; octets past `octets` are 0
    size_t fields = 0;     ///< number of leading key fields that the request determines
    size_t octets = 0;     ///< octets of these fields
    bool isExact = false;  ///< exactly this row is requested; else the first one at or after the key
    bool fits = true;      ///< false: a raw value had the wrong width, so no row can match it
};

/// The key fields of a table, in the order in which its rows sort.
class TableKey {
  public:
    /// @param fields  at most RowKey::kMaxOctets octets in total
    explicit TableKey(std::vector<KeyField> fields);

    [[nodiscard]] size_t size() const { return size_; }  ///< octets

    /// Reads a key message (field::Key, or the top level of a request).
    /// @param defaults  key of the table's first row, or a key of zeros for an empty table: a field that is absent
    ///                  although a later one is present has the value that it has there
    [[nodiscard]] RequestedRow read(const tn::message& request, const RowKey& defaults) const;
    /// The requested row of a table known by ids.
    [[nodiscard]] RequestedRow ofId(uint32_t id) const;
    /// Writes the fields that the request determined: the key of a placeholder.
    void write(const RequestedRow& requested, tn::message& item) const;

  private:
    std::vector<KeyField> fields_;
    size_t size_ = 0;
};

}  // namespace hostd
