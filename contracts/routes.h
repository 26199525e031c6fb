#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {44, 1}: the IPv4 routes of the main table. hostd/inet/routes.h owns them, from rtnetlink(7).
///
/// A row is one next hop that packets can take. Rows are keyed and ordered by Destination, Mask and Gateway. Of several
/// next hops with the same key (other metric or TOS) the preferred one is listed. A next hop whose link is down or
/// without carrier is neither listed nor counted, so hostd's rows are never tn::field::Invalid nor tn::field::Disabled.
namespace contracts::routes {

inline constexpr std::array<uint32_t, 2> kPath = {44, 1};

// Fields: unit; source

inline constexpr tn::be32_id Destination{1};  ///< key; RTA_DST
inline constexpr tn::be32_id Mask{2};         ///< key; rtm_dst_len
/// Key: the next hop; RTA_GATEWAY. 0.0.0.0 without one, and for one of another family (RFC 8950).
inline constexpr tn::be32_id Gateway{3};
inline constexpr tn::be32_array_id Gateways{4};   ///< the next hops; absent from a connected route, else Gateway alone
inline constexpr tn::u32_array_id Interfaces{5};  ///< ifindex for each of Gateways, 0 for none; RTA_OIF
inline constexpr tn::u32_array_id Used{6};        ///< for each of Gateways: 0 when unused. Absent: all are used
inline constexpr tn::u32_id Kind{7};              ///< one of kind; rtm_type, rtm_protocol
inline constexpr tn::u32_id Distance{8};          ///< the lowest wins; RTA_PRIORITY

/// Values of Kind that hostd sends; owners elsewhere have more.
namespace kind {
inline constexpr uint32_t Discarding = 1;  ///< blackhole, unreachable, prohibit, throw: no next hop
inline constexpr uint32_t Connected = 2;   ///< to a network of one of the links: no gateway, whatever made it
inline constexpr uint32_t Static = 3;      ///< RTPROT_STATIC, RTPROT_BOOT (made by hand)
inline constexpr uint32_t Rip = 4;         ///< RTPROT_RIP
inline constexpr uint32_t Ospf = 6;        ///< RTPROT_OSPF
inline constexpr uint32_t Bgp = 8;         ///< RTPROT_BGP
inline constexpr uint32_t Other = 30;      ///< made by the kernel, DHCP, or a daemon that doesn't name its protocol
}  // namespace kind

}  // namespace contracts::routes
