#pragma once

#include <compare>
#include <cstdint>
#include <tuple>
#include <variant>

#include "hostd/netlink/kernel_table.h"

namespace hostd {

/// An IPv4 address of an interface. All fields belong to the key: an interface can have the same address several times.
/// Addresses are in host byte order.
struct AddressKey {
    uint32_t address = 0;
    uint32_t ifindex = 0;
    uint32_t prefix = 0;  ///< length of the network's prefix, 0 to 32 bits
    uint32_t peer = 0;    ///< address of the other end of a point-to-point link; on other links, the address itself

    friend auto operator<=>(const AddressKey& a, const AddressKey& b) {
        return std::tie(a.address, a.ifindex, a.prefix, a.peer) <=> std::tie(b.address, b.ifindex, b.prefix, b.peer);
    }
    /// The key of its row, which consists of the address alone.
    [[nodiscard]] RowKey row() const;
    /// The lowest key that an address of this row can have.
    static AddressKey least(const RowKey& row);
    [[nodiscard]] bool sharesRow(const AddressKey& other) const { return address == other.address; }
};

/// {20, 1}: the IPv4 addresses of this host, ordered by address (rtnetlink(7), RTM_GETADDR). contracts/addresses.h has
/// the fields. An address that several interfaces have, or one interface has several times, is one row. The row shows
/// the interface with the lowest ifindex and the shortest prefix of the address there.
class Addresses : public KernelTable<AddressKey, std::monostate> {
  public:
    Addresses();
    /// Applies RTM_NEWADDR and RTM_DELADDR about IPv4 addresses. Ignores other and malformed messages.
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;

  private:
    void writeEntry(const AddressKey& key, const std::monostate&, tn::message& item) const override;
};

}  // namespace hostd
