#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <vector>

#include "hostd/inet/ip_family.h"

namespace hostd {

/// A route of the kernel's main table, as rtnetlink(7) reports it.
/// @tparam Family  Ipv4 or Ipv6
template <class Family>
struct Route {
    using Address = typename Family::Address;
    /// A next hop of the route: a gateway, a link or both.
    struct NextHop {
        Address gateway{};        ///< none when there is none, or it is of another family
        uint32_t link = 0;        ///< ifindex; 0 when there is none
        bool hasGateway = false;  ///< there is a gateway, of whatever address family
        bool isUsable = true;     ///< false: its link is down or without carrier
        /// True if gateway and link are the same; isUsable isn't compared.
        bool operator==(const NextHop& other) const { return gateway == other.gateway && link == other.link; }
    };

    Address destination{};  ///< if it is local to a link: with the zone of the first next hop
    uint8_t length = 0;     ///< of the prefix, 0 to Family::kMaxLength
    /// The packets it is for, 0 for all. IPv4: their type of service. IPv6: length of the prefix that they come from.
    uint8_t tos = 0;
    uint8_t type = 0;           ///< RTN_UNICAST, RTN_BLACKHOLE, ...
    uint8_t protocol = 0;       ///< origin of the route: RTPROT_KERNEL, RTPROT_STATIC, ...
    uint32_t metric = 0;        ///< of several routes to a prefix, the kernel prefers the one with the lowest metric
    uint32_t nexthop = 0;       ///< id of its nexthop object; 0 when it has none
    std::vector<NextHop> hops;  ///< at least one
};

/// True if a next hop with these flags can be used: its link is up and has carrier.
/// @param flags  RTNH_F_*
[[nodiscard]] bool isUsable(unsigned flags);

/// Reads an RTM_NEWROUTE or RTM_DELROUTE. False for a message that is malformed or isn't about a route of this family
/// in the main table. `route` is then unspecified.
/// @param route  overwritten; the memory of its vector is reused
template <class Family>
[[nodiscard]] bool readRoute(const nlmsghdr& message, Route<Family>& route);

}  // namespace hostd
