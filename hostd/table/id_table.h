#pragma once

#include <cstdint>
#include <optional>

#include "hostd/table/owner_table.h"

namespace hostd {

/// An owner whose rows are known by id alone; the id is also their handle. A derived class supplies rowCount,
/// firstFrom and writeRow.
class IdTable : public OwnerTable<uint32_t> {
  protected:
    /// The id of the first row at or after this one; nothing when there is none.
    [[nodiscard]] virtual std::optional<uint32_t> firstFrom(uint32_t id) const = 0;

  private:
    [[nodiscard]] std::optional<uint32_t> lowerBound(const RowKey& key) const final { return firstFrom(key.u32(0)); }
    [[nodiscard]] std::optional<uint32_t> after(uint32_t id) const final {
        return id == tn::kNoId ? std::nullopt : firstFrom(id + 1);
    }
    [[nodiscard]] RowKey keyOf(uint32_t id) const final { return RowKey::ofId(id); }
};

}  // namespace hostd
