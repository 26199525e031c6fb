#pragma once

#include <compare>
#include <cstdint>
#include <tuple>
#include <variant>

#include "hostd/netlink/kernel_table.h"

namespace hostd {

/// An IPv4 address on an interface. Addresses have their first octet in the most significant one.
struct AddressKey {
    uint32_t address = 0;
    uint32_t ifindex = 0;
    uint32_t prefix = 0;  ///< bits of the network, 0 to 32
    uint32_t peer = 0;    ///< at the other end of a point-to-point link; else the address itself

    friend auto operator<=>(const AddressKey& a, const AddressKey& b) {
        return std::tie(a.address, a.ifindex, a.prefix, a.peer) <=> std::tie(b.address, b.ifindex, b.prefix, b.peer);
    }
    [[nodiscard]] RowKey row() const;
    static AddressKey least(const RowKey& row);
    [[nodiscard]] bool sharesRow(const AddressKey& other) const { return address == other.address; }
};

/// {20, 1}: the IPv4 addresses of this host, ordered by address. contracts/addresses.h has the fields. One that stands
/// on several interfaces, or several times on one, is shown once: on the interface with the lowest index, with its
/// shortest prefix there.
class Addresses : public KernelTable<AddressKey, std::monostate> {
  public:
    Addresses();
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;

  private:
    void writeEntry(const AddressKey& key, const std::monostate&, tn::message& item) const override;
};

}  // namespace hostd
