#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "hostd/background.h"
#include "hostd/id_table.h"
#include "hostd/lldp.h"

namespace hostd {

/// {10, 1}: the neighbours that lldpd has heard. They are read on a helper thread when somebody asks and the last
/// reading is older than kMaxAge; without lldpd there are none, and it is looked for again. A neighbour keeps its id as
/// long as it is heard.
class Neighbors : public IdTable {
  public:
    static constexpr uint64_t kMaxAge = 5000;     ///< ms
    static constexpr uint64_t kPatience = 30000;  ///< ms

    /// @param read  runs on the helper thread
    explicit Neighbors(std::function<NeighborReading()> read = readNeighbors);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(neighbors_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void listRow(uint32_t id, tn::message& row) const override;

  private:
    void take(const NeighborReading& reading);

    Background<NeighborReading> background_;
    std::shared_ptr<const NeighborReading> taken_;
    std::string problem_;
    std::map<uint32_t, Neighbor> neighbors_;
    uint32_t lastId_ = 0;
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
