#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

// IPv4 and IPv6 in one table each, for the plug-in ip-mib. Addresses have the types and octets of INET-ADDRESS-MIB (RFC
// 4001): 1 IPv4, 2 IPv6, and 4 for an IPv6 address that is local to a link, whose octets end with the ifindex.

/// {24, 1041}: the addresses of this host, keyed and ordered by Type and Address. hostd/inet/inet_addresses.h owns
/// them, from rtnetlink(7). An address that several interfaces have is one row, with the lowest ifindex.
namespace contracts::inet_addresses {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1041};

// Fields: unit; source

inline constexpr tn::u32_id Type{1};       ///< key; ifa_family
inline constexpr tn::raw_id Address{2};    ///< key; IFA_LOCAL, IFA_ADDRESS
inline constexpr tn::u32_id Interface{3};  ///< ifindex; ifa_index
inline constexpr tn::u32_id Length{4};     ///< bits of the network's prefix; ifa_prefixlen
inline constexpr tn::raw_id Network{5};    ///< octets of the network, with its zone as in Address
inline constexpr tn::u32_id Flags{6};      ///< IFA_F_*; IFA_FLAGS
inline constexpr tn::u32_id Origin{7};     ///< one of origin; IFA_PROTO and flags
inline constexpr tn::u32_id Created{8};    ///< 1/100 s since boot; IFA_CACHEINFO
inline constexpr tn::u32_id Changed{9};    ///< 1/100 s since boot; IFA_CACHEINFO

/// Values of Origin: those of IpAddressOriginTC (RFC 4293).
namespace origin {
inline constexpr uint32_t Manual = 2;     ///< by an administrator
inline constexpr uint32_t Dhcp = 4;       ///< has a lifetime, and isn't of a router advertisement
inline constexpr uint32_t LinkLayer = 5;  ///< made of the link address, for a router advertisement or on its own
inline constexpr uint32_t Random = 6;     ///< temporary (RFC 8981) or opaque (RFC 7217)
}  // namespace origin

}  // namespace contracts::inet_addresses

/// {24, 1042}: the networks of these addresses, keyed and ordered by Interface to Length. hostd/inet/inet_addresses.h
/// owns them.
namespace contracts::inet_prefixes {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1042};

// Fields: unit; source

inline constexpr tn::u32_id Interface{1};    ///< key; ifindex
inline constexpr tn::u32_id Type{2};         ///< key
inline constexpr tn::raw_id Network{3};      ///< key
inline constexpr tn::u32_id Length{4};       ///< key; bits
inline constexpr tn::u32_id Origin{5};       ///< contracts::inet_addresses::origin of an address in it
inline constexpr tn::bool_id Advertised{6};  ///< by a router; IFA_PROTO
inline constexpr tn::u32_id Preferred{7};    ///< s of preferred lifetime; UINT32_MAX: infinite; IFA_CACHEINFO
inline constexpr tn::u32_id Valid{8};        ///< s of valid lifetime; UINT32_MAX: infinite; IFA_CACHEINFO

}  // namespace contracts::inet_prefixes

/// {24, 1043}: the neighbours of IPv4 (ARP) and IPv6, keyed and ordered by Interface, Type and Address.
/// hostd/inet/inet_neighbors.h owns them, from rtnetlink(7). Neighbours that need no resolution have no row.
namespace contracts::inet_neighbors {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1043};

// Fields: unit; source

inline constexpr tn::u32_id Interface{1};    ///< key; ndm_ifindex
inline constexpr tn::u32_id Type{2};         ///< key; ndm_family. IPv6 for a link-local address, too
inline constexpr tn::raw_id Address{3};      ///< key; NDA_DST
inline constexpr tn::raw_id LinkAddress{4};  ///< absent if it isn't known; NDA_LLADDR
inline constexpr tn::u32_id State{5};        ///< NUD_*; ndm_state
inline constexpr tn::u32_id Changed{6};      ///< 1/100 s since boot; NDA_CACHEINFO

}  // namespace contracts::inet_neighbors

/// {24, 1044}: counters of IPv4 and of IPv6, keyed and ordered by Version. {24, 1045}: counters of IPv6 by interface,
/// keyed and ordered by Version, always 2, and Interface; the kernel doesn't count IPv4 by interface.
/// hostd/inet/ip_statistics.h owns them, from PROC/net/snmp, netstat, snmp6 and dev_snmp6.
///
/// The column n of ipSystemStatsTable and ipIfStatsTable (RFC 4293), if it isn't the high-capacity form of another one,
/// is the u64 field kColumns + n; the column n of icmpStatsTable is kIcmp + n of {24, 1044}. A counter that the kernel
/// doesn't have is absent.
namespace contracts::ip_statistics {

inline constexpr std::array<uint32_t, 2> kSystemPath = {24, 1044};
inline constexpr std::array<uint32_t, 2> kInterfacesPath = {24, 1045};

inline constexpr tn::u32_id Version{1};    ///< key; 1 or 2 for IPv4 and IPv6: InetVersion
inline constexpr tn::u32_id Interface{2};  ///< key; ifindex
inline constexpr uint32_t kColumns = 100;
inline constexpr uint32_t kMost = 44;  ///< the highest column that is a counter
inline constexpr uint32_t kIcmp = 200;
inline constexpr uint32_t kMostIcmp = 5;  ///< the highest column of icmpStatsTable

}  // namespace contracts::ip_statistics

/// {24, 1053}: messages of ICMP and ICMPv6 by their type, keyed and ordered by Version and Type; those that were never
/// received or sent may be absent. hostd/inet/ip_statistics.h owns them, from PROC/net/snmp and snmp6.
namespace contracts::icmp_messages {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1053};

inline constexpr tn::u32_id Version{1};   ///< key; 1 or 2 for ICMP and ICMPv6: InetVersion
inline constexpr tn::u32_id Type{2};      ///< key; RFC 792, RFC 4443
inline constexpr tn::u64_id Received{3};  ///< messages
inline constexpr tn::u64_id Sent{4};      ///< messages

}  // namespace contracts::icmp_messages

/// {24, 1046}, {24, 1047}: how the interfaces use IPv4, and IPv6. An id is an ifindex. hostd/inet/ip_interfaces.h owns
/// them, from PROC/sys/net. A get without a row returns Forwarding and HopLimit of the host.
namespace contracts::ip_interfaces {

inline constexpr std::array<uint32_t, 2> kIPv4Path = {24, 1046};
inline constexpr std::array<uint32_t, 2> kIPv6Path = {24, 1047};

// Fields: unit; source

inline constexpr tn::bool_id Enabled{1};     ///< the link is up, and IPv6 isn't disabled; disable_ipv6
inline constexpr tn::bool_id Forwarding{2};  ///< forwarding
inline constexpr tn::u32_id HopLimit{3};     ///< of packets that are sent; hop_limit
inline constexpr tn::u32_id Reachable{4};    ///< ms; base_reachable_time_ms
inline constexpr tn::u32_id Retransmit{5};   ///< ms; retrans_time_ms
inline constexpr tn::raw_id Identifier{6};   ///< IPv6: 8 octets made of the link address (RFC 4291); absent if unknown

}  // namespace contracts::ip_interfaces

/// {24, 1048}: the routes of IPv4, then those of IPv6, of the main table, a row for each next hop. Keyed and ordered by
/// Type to Gateway. hostd/inet/inet_routes.h owns them, from rtnetlink(7). Of several next hops with the same key, the
/// preferred one has a row.
namespace contracts::inet_routes {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1048};

// Fields: unit; source

inline constexpr tn::u32_id Type{1};         ///< key: type of Destination
inline constexpr tn::raw_id Destination{2};  ///< key; RTA_DST
inline constexpr tn::u32_id Length{3};       ///< key: bits of the prefix; rtm_dst_len
inline constexpr tn::u32_id GatewayType{4};  ///< key; 0 without a gateway
inline constexpr tn::raw_id Gateway{5};      ///< key; RTA_GATEWAY
inline constexpr tn::u32_id Interface{6};    ///< ifindex; 0 for none; RTA_OIF
inline constexpr tn::u32_id Metric{7};       ///< the lowest wins; RTA_PRIORITY
inline constexpr tn::u32_id RouteType{8};    ///< RTN_*; rtm_type
inline constexpr tn::u32_id Protocol{9};     ///< RTPROT_*; rtm_protocol

}  // namespace contracts::inet_routes

/// {24, 1049}: the gateways of default routes, keyed and ordered by Type, Address and Interface.
/// hostd/inet/inet_routes.h owns them.
namespace contracts::default_routers {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1049};

// Fields

inline constexpr tn::u32_id Type{1};       ///< key
inline constexpr tn::raw_id Address{2};    ///< key
inline constexpr tn::u32_id Interface{3};  ///< key; ifindex

}  // namespace contracts::default_routers
