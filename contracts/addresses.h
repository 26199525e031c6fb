#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {20, 1}: the IPv4 addresses of this host, keyed and ordered by Address. hostd/inet/addresses.h owns them, from
/// rtnetlink(7).
///
/// A row with tn::field::Invalid or tn::field::Disabled isn't in force. hostd lists no such rows: addresses of
/// interfaces that are down are in force, too.
namespace contracts::addresses {

inline constexpr std::array<uint32_t, 2> kPath = {20, 1};

// Fields: source

inline constexpr tn::be32_id Address{1};   ///< key; IFA_LOCAL
inline constexpr tn::be32_id Mask{3};      ///< ifa_prefixlen
inline constexpr tn::u32_id Interface{5};  ///< ifindex; ifa_index

}  // namespace contracts::addresses

/// {20, 8}: the IPv4 neighbours (ARP), keyed and ordered by Interface and Address. hostd/inet/arp_entries.h owns them,
/// from rtnetlink(7).
///
/// tn::field::Invalid is true for a neighbour that hasn't answered (NUD_FAILED, NUD_INCOMPLETE). A row that is neither
/// Invalid nor Dynamic was configured by the administrator (NUD_PERMANENT).
namespace contracts::arp {

inline constexpr std::array<uint32_t, 2> kPath = {20, 8};

// Fields: source

inline constexpr tn::be32_id Address{1};         ///< key; NDA_DST
inline constexpr tn::raw_id LinkAddress{2};      ///< NDA_LLADDR; absent if there is none
inline constexpr tn::u32_id Interface{3};        ///< key, an ifindex; ndm_ifindex
inline constexpr tn::bool_id Dynamic{0xfe0007};  ///< learned; NUD_REACHABLE, NUD_STALE, NUD_DELAY, NUD_PROBE

}  // namespace contracts::arp
