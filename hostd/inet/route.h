#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <vector>

namespace hostd {

/// An IPv4 route of the kernel's main table, as rtnetlink(7) reports it. Addresses are in host byte order.
struct Route {
    /// One of the ways that its packets can take.
    struct NextHop {
        uint32_t gateway = 0;     ///< 0 for none, and for one that isn't IPv4
        uint32_t link = 0;        ///< ifindex; 0 for none
        bool hasGateway = false;  ///< of any address family
        bool isUsable = true;     ///< false: its link is down or without carrier
        /// Same gateway and link; whether it is usable doesn't matter.
        bool operator==(const NextHop& other) const { return gateway == other.gateway && link == other.link; }
    };

    uint32_t destination = 0;
    uint8_t length = 0;  ///< of the prefix, 0 to 32
    uint8_t tos = 0;
    uint8_t type = 0;           ///< RTN_UNICAST, RTN_BLACKHOLE and so on
    uint8_t protocol = 0;       ///< its origin: RTPROT_KERNEL and so on
    uint32_t metric = 0;        ///< the lowest one wins
    uint32_t nexthop = 0;       ///< id of the nexthop object that it goes through; 0 for none
    std::vector<NextHop> hops;  ///< at least one
};

/// True if packets can take a next hop with these flags, RTNH_F_*: its link is up and has carrier.
[[nodiscard]] bool isUsable(unsigned flags);

/// Reads RTM_NEWROUTE or RTM_DELROUTE. False, with unspecified content in `route`, for a message that isn't about an
/// IPv4 route of the main table, or is malformed.
/// @param route  its vector's memory is reused
[[nodiscard]] bool readRoute(const nlmsghdr& message, Route& route);

}  // namespace hostd
