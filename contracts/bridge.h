#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {16, 3}: the forwarding entries of bridges, keyed and ordered by Bridge and Mac. hostd/inet/forwarding.h owns them,
/// from rtnetlink(7). The bridges themselves are rows of {20, 0}.
namespace contracts::bridge {

inline constexpr std::array<uint32_t, 2> kForwardingPath = {16, 3};

// Fields: source

inline constexpr tn::u32_id Port{1};    ///< ifindex of the port, or of the bridge itself; ndm_ifindex
inline constexpr tn::raw_id Mac{2};     ///< key, 6 octets; NDA_LLADDR
inline constexpr tn::bool_id Local{4};  ///< address of the bridge or its port; NUD_PERMANENT, absent for other states
inline constexpr tn::u32_id Bridge{5};  ///< key, an ifindex; NDA_MASTER

}  // namespace contracts::bridge
