#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <tuple>

#include "hostd/netlink/kernel_table.h"

namespace hostd {

using MacAddress = std::array<uint8_t, 6>;

struct ForwardingKey {
    uint32_t bridge = 0;  ///< ifindex
    MacAddress mac{};
    uint16_t vlan = 0;  ///< 0 for none

    friend auto operator<=>(const ForwardingKey& a, const ForwardingKey& b) {
        return std::tie(a.bridge, a.mac, a.vlan) <=> std::tie(b.bridge, b.mac, b.vlan);
    }
    [[nodiscard]] RowKey row() const;
    static ForwardingKey least(const RowKey& row);
    [[nodiscard]] bool sharesRow(const ForwardingKey& other) const {
        return bridge == other.bridge && mac == other.mac;
    }
};

struct ForwardingEntry {
    uint32_t port = 0;  ///< ifindex
    bool isLocal = false;
};

/// {16, 3}: where the bridges forward frames to, ordered by (bridge, address). contracts/bridge.h has the fields. An
/// address known in several VLANs of a bridge is shown once, as in the lowest of them; the entry without a VLAN comes
/// before these.
class Forwarding : public KernelTable<ForwardingKey, ForwardingEntry> {
  public:
    Forwarding();
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;

  private:
    void writeEntry(const ForwardingKey& key, const ForwardingEntry& entry, tn::message& item) const override;
};

}  // namespace hostd
