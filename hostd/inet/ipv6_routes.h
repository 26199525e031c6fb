#pragma once

#include <cstdint>
#include <tuple>
#include <utility>
#include <vector>

#include "hostd/inet/inet_address.h"
#include "hostd/netlink/kernel_table.h"

namespace hostd {

/// A next hop of a route. Routes to one prefix by one gateway that differ in metric or link are one row, which shows
/// the route with the lowest metric.
struct Ipv6RouteKey {
    InetAddress destination;  ///< with the link's zone if it is local to a link
    uint32_t length = 0;      ///< of the prefix, in bits
    InetAddress gateway;      ///< unknown for none; with its zone as the destination
    uint32_t metric = 0;
    uint32_t link = 0;  ///< ifindex; 0 for none
    friend auto operator<=>(const Ipv6RouteKey&,
                            const Ipv6RouteKey&) = default;  // NOLINT(modernize-use-nullptr): a false alarm
    [[nodiscard]] RowKey row() const { return KeyComposer().address(destination).u32(length).address(gateway).key(); }
    static Ipv6RouteKey least(const RowKey& row) {
        return {addressAt(row, 0), row.u32(kAddressOctets), addressAt(row, kAddressOctets + 4)};
    }
    [[nodiscard]] bool sharesRow(const Ipv6RouteKey& other) const {
        return std::tie(destination, length, gateway) == std::tie(other.destination, other.length, other.gateway);
    }
};

struct Ipv6Route {
    uint8_t type = 0;      ///< RTN_*
    uint8_t protocol = 0;  ///< RTPROT_*
};

/// The IPv6 routes of the main table (rtnetlink(7), RTM_GETROUTE), each next hop with its key. They are listed by the
/// first refresh(), which blocks until the kernel has listed them.
class Ipv6Routes : public KernelTable<Ipv6RouteKey, Ipv6Route> {
  public:
    using Next = const std::pair<const Ipv6RouteKey, Ipv6Route>*;
    explicit Ipv6Routes(FirstReading first = FirstReading::OnRequest);
    /// Applies RTM_NEWROUTE and RTM_DELROUTE about IPv6 routes of the main table. Ignores other and malformed messages.
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;
    using KernelTable::after;
    using KernelTable::lowerBound;
    using KernelTable::refresh;
    using KernelTable::rowCount;

  private:
    void writeEntry(const Ipv6RouteKey&, const Ipv6Route&, tn::message&) const override {}  // InetRoutes writes them

    std::vector<Ipv6RouteKey> hops_;  ///< of the message being applied; a member, so that its memory is reused
};

}  // namespace hostd
