#pragma once

#include <chrono>
#include <functional>
#include <utility>

#include "hostd/links/lldp.h"
#include "hostd/source/watched_table.h"

namespace hostd {

/// {10, 1}: the neighbours that lldpd reports. contracts/neighbors.h has the fields. Without lldpd there are none; each
/// reading tries to reach it again. A neighbour keeps its id as long as it is reported.
class Neighbors : public WatchedTable<Neighbor> {
  public:
    static constexpr std::chrono::seconds kMaxAge{5};
    static constexpr IdRange kIds{1, 0x10000};

    /// @param read  runs on the helper thread; replaced by tests
    explicit Neighbors(std::function<Reading<Neighbor>()> read = readNeighbors)
        : WatchedTable("neighbours", std::move(read), kMaxAge, kIds) {}

  protected:
    void writeEntry(const Neighbor& heard, tn::message& item) const override;
};

}  // namespace hostd
