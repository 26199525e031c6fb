#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <tuple>

#include "hostd/netlink/kernel_table.h"

namespace hostd {

using MacAddress = std::array<uint8_t, 6>;

/// An address that a bridge has learnt or was given, in one of its VLANs.
struct ForwardingKey {
    uint32_t bridge = 0;  ///< ifindex
    MacAddress mac{};
    uint16_t vlan = 0;  ///< 0 for none

    friend auto operator<=>(const ForwardingKey& a, const ForwardingKey& b) {
        return std::tie(a.bridge, a.mac, a.vlan) <=> std::tie(b.bridge, b.mac, b.vlan);
    }
    /// The key of its row: bridge and address.
    [[nodiscard]] RowKey row() const;
    /// The lowest key of a row: without a VLAN.
    static ForwardingKey least(const RowKey& row);
    [[nodiscard]] bool sharesRow(const ForwardingKey& other) const {
        return bridge == other.bridge && mac == other.mac;
    }
};

/// Where a bridge forwards frames to an address.
struct ForwardingEntry {
    uint32_t port = 0;     ///< ifindex of the member, or the bridge's own
    bool isLocal = false;  ///< the address belongs to the bridge or the port itself
};

/// {16, 3}: the forwarding entries of all bridges, ordered by (bridge, address). contracts/bridge.h has the fields. An
/// address that is in several VLANs of a bridge is one row: that of the lowest VLAN, or of the entry without a VLAN if
/// there is one.
class Forwarding : public KernelTable<ForwardingKey, ForwardingEntry> {
  public:
    Forwarding();
    /// Applies RTM_NEWNEIGH and RTM_DELNEIGH about bridges; ignores other messages.
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;

  private:
    void writeEntry(const ForwardingKey& key, const ForwardingEntry& entry, tn::message& item) const override;
};

}  // namespace hostd
