#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <tuple>

#include "hostd/netlink/kernel_table.h"

namespace hostd {

struct ArpKey {
    uint32_t ifindex = 0;
    uint32_t address = 0;  ///< IPv4, first octet most significant

    friend auto operator<=>(const ArpKey& a, const ArpKey& b) {
        return std::tie(a.ifindex, a.address) <=> std::tie(b.ifindex, b.address);
    }
    [[nodiscard]] RowKey row() const;
    static ArpKey least(const RowKey& row);
    [[nodiscard]] bool sharesRow(const ArpKey& other) const {
        return ifindex == other.ifindex && address == other.address;
    }
};

/// What the kernel knows of an IPv4 neighbour.
struct ArpEntry {
    static constexpr size_t kMostAddress = 32;  ///< octets: MAX_ADDR_LEN
    enum class State { Dynamic, Static, Invalid };

    State state = State::Dynamic;
    uint8_t size = 0;  ///< octets of the link address; 0 when there is none
    std::array<uint8_t, kMostAddress> linkAddress{};
};

/// {20, 8}: the IPv4 neighbours (ARP), ordered by (interface, address). Left out are those that need no ARP: of
/// loopback and of tunnels, multicast, and broadcast addresses.
///
/// A neighbour that is being asked for shows once it answered, or after about three seconds that it didn't: the
/// kernel doesn't tell of it before.
class ArpEntries : public KernelTable<ArpKey, ArpEntry> {
  public:
    ArpEntries();
    void take(const nlmsghdr& message, uint64_t now) override;

  private:
    void write(const ArpKey& key, const ArpEntry& entry, tn::message& item) const override;
};

/// The contract of {20, 8}. A row that is neither Invalid nor Dynamic was put there by the administrator.
namespace arp {
//                                       source
constexpr tn::be32_id Address{1};         // NDA_DST; the second part of the key
constexpr tn::raw_id LinkAddress{2};      // NDA_LLADDR; absent when there is none
constexpr tn::u32_id IfIndex{3};          // ndm_ifindex; the first part of the key
constexpr tn::bool_id Dynamic{0xfe0007};  // NUD_REACHABLE, NUD_STALE, NUD_DELAY, NUD_PROBE
// field::Invalid                          NUD_FAILED, NUD_INCOMPLETE
}  // namespace arp

}  // namespace hostd
