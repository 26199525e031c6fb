#pragma once

#include <cstdint>
#include <optional>

#include "hostd/table/owner_table.h"

namespace hostd {

/// An owner of rows in a sequence, such as a vector, in ascending order of their keys. A row's handle is its position,
/// from 0. A derived class supplies rowCount, keyOf and writeRow.
class PositionTable : public OwnerTable<size_t> {
  protected:
    using OwnerTable::OwnerTable;

  private:
    [[nodiscard]] std::optional<size_t> lowerBound(const RowKey& key) const final {
        size_t first = 0;
        for (size_t left = rowCount(); left > 0;) {
            const size_t half = left / 2;
            const bool isBelow = keyOf(first + half) < key;
            if (isBelow) first += half + 1;
            left = isBelow ? left - half - 1 : half;
        }
        return first < rowCount() ? std::optional(first) : std::nullopt;
    }
    [[nodiscard]] std::optional<size_t> after(size_t row) const final {
        return row + 1 < rowCount() ? std::optional(row + 1) : std::nullopt;
    }
};

}  // namespace hostd
