#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {44, 1}: the IPv4 routes of the main table. hostd/inet/routes.h owns them, from rtnetlink(7).
///
/// A row is one next hop of a route. Rows are keyed and ordered by Destination, Mask and Gateway. Of several next hops
/// with the same key, which differ in metric or TOS, only the preferred one has a row. hostd neither lists nor counts
/// next hops whose link is down or has no carrier, so its rows are never tn::field::Invalid or tn::field::Disabled.
///
/// A get-all with tn::field::Fields is answered with Single rows: the key and the fields wanted.
namespace contracts::routes {

inline constexpr std::array<uint32_t, 2> kPath = {44, 1};

// Fields: unit; source

inline constexpr tn::be32_id Destination{1};  ///< key; RTA_DST
inline constexpr tn::be32_id Mask{2};         ///< key; rtm_dst_len
/// Key: the next hop; RTA_GATEWAY. 0.0.0.0 without a gateway, and for a gateway that isn't IPv4 (RFC 8950).
inline constexpr tn::be32_id Gateway{3};
inline constexpr tn::be32_array_id Gateways{4};   ///< from hostd: only Gateway; absent from a connected route
inline constexpr tn::u32_array_id Interfaces{5};  ///< ifindex for each next hop, 0 for none; RTA_OIF
inline constexpr tn::u32_array_id Used{6};        ///< 0 for an unused next hop; absent: all used. hostd never sends it
inline constexpr tn::u32_id Kind{7};              ///< one of kind; rtm_type, rtm_protocol
inline constexpr tn::u32_id Distance{8};          ///< the lowest wins; RTA_PRIORITY

/// This item is one route in force, through Gateway and the first of Interfaces; Gateways is left out.
inline constexpr tn::bool_id Single{9};

/// Values of Kind that hostd sends; owners elsewhere have more.
namespace kind {
inline constexpr uint32_t Discarding = 1;  ///< blackhole, unreachable, prohibit, throw: no next hop
inline constexpr uint32_t Connected = 2;   ///< to a network on a link: no gateway, any protocol
inline constexpr uint32_t Static = 3;      ///< RTPROT_STATIC, RTPROT_BOOT (added manually)
inline constexpr uint32_t Rip = 4;         ///< RTPROT_RIP
inline constexpr uint32_t Ospf = 6;        ///< RTPROT_OSPF
inline constexpr uint32_t Bgp = 8;         ///< RTPROT_BGP
inline constexpr uint32_t Other = 30;      ///< from the kernel, DHCP, or a daemon with another protocol number
}  // namespace kind

}  // namespace contracts::routes
