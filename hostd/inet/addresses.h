#pragma once

#include <compare>
#include <cstdint>
#include <tuple>
#include <variant>

#include "hostd/netlink/kernel_table.h"

namespace hostd {

/// An IPv4 address on an interface, with all that distinguishes it from others. Addresses are in host byte order.
struct AddressKey {
    uint32_t address = 0;
    uint32_t ifindex = 0;
    uint32_t prefix = 0;  ///< length of the network's prefix, 0 to 32 bits
    uint32_t peer = 0;    ///< at the other end of a point-to-point link; else the address itself

    friend auto operator<=>(const AddressKey& a, const AddressKey& b) {
        return std::tie(a.address, a.ifindex, a.prefix, a.peer) <=> std::tie(b.address, b.ifindex, b.prefix, b.peer);
    }
    /// The key of its row: the address alone.
    [[nodiscard]] RowKey row() const;
    /// The lowest key of a row.
    static AddressKey least(const RowKey& row);
    [[nodiscard]] bool sharesRow(const AddressKey& other) const { return address == other.address; }
};

/// {20, 1}: the IPv4 addresses of this host, ordered by address. contracts/addresses.h has the fields. An address that
/// is on several interfaces, or several times on one, is one row: that of the interface with the lowest index, with its
/// shortest prefix there.
class Addresses : public KernelTable<AddressKey, std::monostate> {
  public:
    Addresses();
    /// Applies RTM_NEWADDR and RTM_DELADDR about IPv4 addresses; ignores other messages.
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;

  private:
    void writeEntry(const AddressKey& key, const std::monostate&, tn::message& item) const override;
};

}  // namespace hostd
