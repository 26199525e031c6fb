#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include "hostd/links/lldp.h"
#include "hostd/source/watched_table.h"

namespace hostd {

/// {10, 1}: the neighbours that lldpd has heard; without lldpd there are none, and it is looked for again. A neighbour
/// keeps its id as long as it is heard.
class Neighbors : public WatchedTable<Neighbor> {
  public:
    static constexpr uint64_t kMaxAge = 5000;  ///< ms
    static constexpr IdRange kIds{1, 0x10000};

    /// @param read  runs on the helper thread
    explicit Neighbors(std::function<Reading<Neighbor>()> read = readNeighbors)
        : WatchedTable("neighbours", std::move(read), kMaxAge, kIds) {}

  protected:
    void list(const Neighbor& heard, tn::message& item) const override;
};

/// The contract of {10, 1}: what the neighbour told by LLDP. What it didn't tell is absent.
namespace neighbor {
//                                     source
constexpr tn::be32_id Address{1};     // first IPv4 management address
constexpr tn::raw_id Mac{2};          // chassis id, or else port id, when that is a MAC address
constexpr tn::string_id Version{6};   // system description
constexpr tn::string_id Identity{7};  // system name, or else chassis id
constexpr tn::string_id Platform{8};  // maker and model (LLDP-MED inventory)
constexpr tn::string_id Port{11};     // description of the neighbour's port, or else its id
}  // namespace neighbor

}  // namespace hostd
