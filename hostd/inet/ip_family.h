#pragma once

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cstdint>
#include <span>

#include "hostd/inet/inet_address.h"

namespace hostd {

/// IPv4, as the parameter of all that routes are stored in. A default-constructed address is no address.
struct Ipv4 {
    using Address = uint32_t;  ///< in host byte order
    static constexpr uint8_t kFamily = AF_INET;
    static constexpr uint8_t kMaxLength = 32;         ///< of a prefix, in bits
    static constexpr const char* kRoutes = "routes";  ///< in log lines
    /// RTMGRP_*, of routes and of addresses whose removal takes routes along.
    static constexpr unsigned kGroups = RTMGRP_IPV4_ROUTE | RTMGRP_IPV4_IFADDR;
    /// True if several routes to one prefix with one metric are next hops of one route, and can't have one in common.
    static constexpr bool kMergesRoutes = false;
    /// True if the kernel continues a listing after as many entries as it has listed: it misses some if others were
    /// removed meanwhile.
    static constexpr bool kListsByCount = false;

    /// @param octets  of an attribute: none, unless there are 4
    static Address address(std::span<const uint8_t> octets, uint32_t link);
    /// The address of a prefix, without the bits past its length. No octets: 0.0.0.0.
    static Address network(std::span<const uint8_t> octets, uint8_t length, uint32_t link);
};

/// IPv6, as the parameter of all that routes are stored in.
struct Ipv6 {
    using Address = InetAddress;  ///< with its link as the zone if it is local to one
    static constexpr uint8_t kFamily = AF_INET6;
    static constexpr uint8_t kMaxLength = 128;
    static constexpr const char* kRoutes = "IPv6 routes";
    static constexpr unsigned kGroups = RTMGRP_IPV6_ROUTE;
    static constexpr bool kMergesRoutes = true;
    static constexpr bool kListsByCount = true;

    /// @param octets  of an attribute: none, unless there are 16
    /// @param link    ifindex of the next hop
    static Address address(std::span<const uint8_t> octets, uint32_t link);
    static Address network(std::span<const uint8_t> octets, uint8_t length, uint32_t link);
};

}  // namespace hostd
