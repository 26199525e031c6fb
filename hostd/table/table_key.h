#pragma once

#include <cstddef>
#include <vector>

#include "hostd/table/row_key.h"

namespace hostd {

/// The row at which a request starts, as the request gives it. Whether that row exists isn't known yet.
struct RequestedRow {
    RowKey key;            ///< the row's key; octets past `octets` are 0
    size_t fields = 0;     ///< number of leading key fields, up to the last one in the request
    size_t octets = 0;     ///< octets of these fields
    bool isExact = false;  ///< true: exactly this row is requested. False: the first one that isn't below the key
    bool fits = true;      ///< false: a raw value had the wrong width, so no row matches
};

/// The key fields of a table, in their order of significance for sorting.
class TableKey {
  public:
    /// @param fields  at most RowKey::kMaxOctets octets in total
    explicit TableKey(std::vector<KeyField> fields);

    [[nodiscard]] size_t size() const { return size_; }  ///< octets of a row's key

    /// Reads the key fields of a message. The result is exact unless the message has no key field, or has
    /// field::KeyIncomplete.
    /// @param request   the content of field::Key, or a whole request with key fields at its top level
    /// @param defaults  values of fields that are absent although a later one is present: the key of the table's first
    ///                  row, or zeros for an empty table
    [[nodiscard]] RequestedRow read(const tn::message& request, const RowKey& defaults) const;
    /// The requested row of a request that has an id; for tables with ids. The result is exact.
    [[nodiscard]] RequestedRow ofId(uint32_t id) const;
    /// Inserts the first `requested.fields` key fields: the content of a placeholder for a row that has gone.
    void write(const RequestedRow& requested, tn::message& item) const;

  private:
    std::vector<KeyField> fields_;
    size_t size_ = 0;  ///< octets
};

}  // namespace hostd
