#pragma once

#include <vector>

#include "hostd/source/reading_state.h"
#include "hostd/table/id_table.h"

namespace hostd {

/// {1, 2}: the states of all sources of this process, by name. contracts/readings.h has the fields. Reads nothing.
class Readings : public IdTable {
  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(states_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& row) const override;

  private:
    std::vector<ReadingState> states_;  ///< sorted by name; the index is the row's id
};

}  // namespace hostd
