#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "hostd/links/bridge_reader.h"
#include "hostd/source/watch.h"
#include "hostd/table/id_table.h"
#include "hostd/table/position_table.h"

namespace hostd {

/// The first bridge, one reading for all owners that show it. Nothing is read before the first request.
using FirstBridge = Watch<Bridge>;
[[nodiscard]] std::shared_ptr<FirstBridge> watchFirstBridge(
    std::function<std::optional<Bridge>()> read = readFirstBridge);

/// {24, 1080}: the bridge itself. contracts::first_bridge has the fields.
class BridgeState : public tn::Handler {
  public:
    explicit BridgeState(std::shared_ptr<FirstBridge> source) : source_(std::move(source)) {}
    tn::message cmdGet(const tn::message& request) override;

  private:
    std::shared_ptr<FirstBridge> source_;
};

/// A table of the bridge whose rows have ids.
/// @tparam Rows  the map of Bridge that it shows
template <auto Rows>
class BridgeTable : public IdTable {
  public:
    explicit BridgeTable(std::shared_ptr<FirstBridge> source) : source_(std::move(source)) {}

  protected:
    /// As of the last refresh(); without a reading, no bridge.
    [[nodiscard]] const Bridge& bridge() const {
        static const Bridge kNone;
        return bridge_ ? *bridge_ : kNone;
    }
    void refresh() final { bridge_ = source_->latest(); }
    [[nodiscard]] uint32_t rowCount() const final { return static_cast<uint32_t>((bridge().*Rows).size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const final {
        const auto found = (bridge().*Rows).lower_bound(id);
        return found == (bridge().*Rows).end() ? std::nullopt : std::optional(found->first);
    }

  private:
    std::shared_ptr<FirstBridge> source_;
    std::shared_ptr<const Bridge> bridge_;
};

/// {24, 1081}: its ports by number. contracts::bridge_ports has the fields.
class BridgePorts : public BridgeTable<&Bridge::ports> {
  public:
    using BridgeTable::BridgeTable;

  protected:
    void writeRow(uint32_t id, tn::message& row) const override;
};

/// {24, 1082}: its VLANs. contracts::bridge_vlans has the fields.
class BridgeVlans : public BridgeTable<&Bridge::vlans> {
  public:
    using BridgeTable::BridgeTable;

  protected:
    void writeRow(uint32_t id, tn::message& row) const override;
};

/// {24, 1083} and {24, 1084}: its forwarding entries. contracts::bridge_hosts has the fields.
class BridgeHosts : public PositionTable {
  public:
    enum class Order { ByMac, ByVlan };
    BridgeHosts(std::shared_ptr<FirstBridge> source, Order order);

  protected:
    void refresh() override { bridge_ = source_->latest(); }
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(hosts().size()); }
    [[nodiscard]] RowKey keyOf(size_t row) const override;
    void writeRow(size_t row, tn::message& item) const override;

  private:
    [[nodiscard]] const std::vector<BridgeHost>& hosts() const;

    std::shared_ptr<FirstBridge> source_;
    Order order_;
    std::shared_ptr<const Bridge> bridge_;
};

}  // namespace hostd
