#pragma once

#include <cstdint>
#include <optional>

#include "hostd/table/owner_table.h"

namespace hostd {

/// An owner whose rows are known by id alone: what an OwnerTable's source comes to when it is a map by id. A derived
/// class supplies the next id and the fields of a row.
class IdTable : public OwnerTable {
  protected:
    /// The id of the first row at or after this one.
    [[nodiscard]] virtual std::optional<uint32_t> firstFrom(uint32_t id) const = 0;
    virtual void listRow(uint32_t id, tn::message& row) const = 0;
    virtual void briefRow(uint32_t id, tn::message& row) const { listRow(id, row); }
    virtual void wholeRow(uint32_t id, tn::message& row) const { listRow(id, row); }
    [[nodiscard]] virtual bool isIdWanted(uint32_t, const tn::message&) const { return true; }
    virtual tn::message setRow(uint32_t id, const tn::message& request);
    /// Called with the rows that are about to be shown, unless it is in brief.
    virtual void refreshIds(std::span<const uint32_t>) {}

  private:
    [[nodiscard]] Row lowerBound(const RowKey& key) const final { return rowFrom(key.u32(0)); }
    [[nodiscard]] Row after(Row row) const final { return row == tn::kNoId ? kEnd : rowFrom(idOfRow(row) + 1); }
    [[nodiscard]] RowKey keyOf(Row row) const final { return RowKey::ofId(idOfRow(row)); }
    void refreshRows(std::span<const Row> rows) final;
    void writeRow(Row row, tn::message& item) const final { listRow(idOfRow(row), item); }
    void writeBrief(Row row, tn::message& item) const final { briefRow(idOfRow(row), item); }
    void writeWhole(Row row, tn::message& item) const final { wholeRow(idOfRow(row), item); }
    [[nodiscard]] bool isWanted(Row row, const tn::message& request) const final {
        return isIdWanted(idOfRow(row), request);
    }
    tn::message changeRow(Row row, const tn::message& request) final { return setRow(idOfRow(row), request); }

    [[nodiscard]] Row rowFrom(uint32_t id) const;
    static uint32_t idOfRow(Row row) { return static_cast<uint32_t>(row); }
};

}  // namespace hostd
