#pragma once

#include <cstdint>
#include <optional>

#include "hostd/table/owner_table.h"

namespace hostd {

/// An owner of rows that are identified by a number, their id, and sorted by it. The id is also the row's handle. A
/// derived class supplies rowCount, firstFrom and writeRow. Ids may have gaps; tn::kNoId is not one.
class IdTable : public OwnerTable<uint32_t> {
  protected:
    /// The lowest id of a row that isn't below this id; nothing when there is none. Called for each step of a walk.
    [[nodiscard]] virtual std::optional<uint32_t> firstFrom(uint32_t id) const = 0;

  private:
    [[nodiscard]] std::optional<uint32_t> lowerBound(const RowKey& key) const final { return firstFrom(key.u32(0)); }
    [[nodiscard]] std::optional<uint32_t> after(uint32_t id) const final {
        return id == tn::kNoId ? std::nullopt : firstFrom(id + 1);
    }
    [[nodiscard]] RowKey keyOf(uint32_t id) const final { return RowKey::ofId(id); }
};

}  // namespace hostd
