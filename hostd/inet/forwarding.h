#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <tuple>

#include "hostd/netlink/kernel_table.h"

namespace hostd {

using MacAddress = std::array<uint8_t, 6>;

/// Identifies an entry of a bridge's forwarding database: a MAC address in one of the bridge's VLANs.
struct ForwardingKey {
    uint32_t bridge = 0;  ///< ifindex
    MacAddress mac{};
    uint16_t vlan = 0;  ///< 0 for an entry without a VLAN

    friend auto operator<=>(const ForwardingKey& a, const ForwardingKey& b) {
        return std::tie(a.bridge, a.mac, a.vlan) <=> std::tie(b.bridge, b.mac, b.vlan);
    }
    /// The key of its row, which consists of bridge and address.
    [[nodiscard]] RowKey row() const;
    /// The lowest key that an entry of this row can have: that without a VLAN.
    static ForwardingKey least(const RowKey& row);
    [[nodiscard]] bool sharesRow(const ForwardingKey& other) const {
        return bridge == other.bridge && mac == other.mac;
    }
};

/// Where a bridge forwards frames to an address.
struct ForwardingEntry {
    uint32_t port = 0;     ///< ifindex of the bridge's port, or of the bridge
    bool isLocal = false;  ///< the address belongs to the bridge or the port itself
};

/// {16, 3}: the forwarding entries of all bridges, learnt and configured, ordered by (bridge, address) (rtnetlink(7),
/// RTM_GETNEIGH with AF_BRIDGE). contracts/bridge.h has the fields. The entries of one address in several VLANs of a
/// bridge are one row. The row shows the entry without a VLAN if there is one, else that of the lowest VLAN.
class Forwarding : public KernelTable<ForwardingKey, ForwardingEntry> {
  public:
    Forwarding();
    /// Applies RTM_NEWNEIGH and RTM_DELNEIGH about bridges. Ignores other and malformed messages.
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;

  private:
    void writeEntry(const ForwardingKey& key, const ForwardingEntry& entry, tn::message& item) const override;
};

}  // namespace hostd
