#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <tuple>

#include "hostd/netlink/kernel_table.h"

namespace hostd {

/// Identifies an IPv4 neighbour on an interface.
struct ArpKey {
    uint32_t ifindex = 0;
    uint32_t address = 0;  ///< IPv4, in host byte order

    friend auto operator<=>(const ArpKey& a, const ArpKey& b) {
        return std::tie(a.ifindex, a.address) <=> std::tie(b.ifindex, b.address);
    }
    /// The key of its row: both fields. Each neighbour has a separate row.
    [[nodiscard]] RowKey row() const;
    static ArpKey least(const RowKey& row);
    [[nodiscard]] bool sharesRow(const ArpKey& other) const {
        return ifindex == other.ifindex && address == other.address;
    }
};

/// What the kernel knows about an IPv4 neighbour.
struct ArpEntry {
    static constexpr size_t kMaxAddress = 32;  ///< octets: MAX_ADDR_LEN
    /// Dynamic: resolved by ARP. Static: set by an administrator (NUD_PERMANENT). Invalid: not resolved.
    enum class State { Dynamic, Static, Invalid };

    State state = State::Dynamic;
    uint8_t size = 0;  ///< octets of the link address; 0 when it isn't known
    std::array<uint8_t, kMaxAddress> linkAddress{};
};

/// {20, 8}: the IPv4 neighbours (ARP), ordered by (interface, address) (rtnetlink(7), RTM_GETNEIGH).
/// contracts/addresses.h has the fields. Neighbours that need no ARP have no row: those on loopback and on tunnels,
/// multicast and broadcast addresses. Proxy entries have none, either.
///
/// A new neighbour appears once it has answered, or after about three seconds without an answer. The kernel doesn't
/// report it earlier.
class ArpEntries : public KernelTable<ArpKey, ArpEntry> {
  public:
    ArpEntries();
    /// Applies RTM_NEWNEIGH and RTM_DELNEIGH about IPv4 neighbours. Ignores other and malformed messages.
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;

  private:
    void writeEntry(const ArpKey& key, const ArpEntry& entry, tn::message& item) const override;
};

}  // namespace hostd
