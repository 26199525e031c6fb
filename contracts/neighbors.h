#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {10, 1}: the neighbours that announce themselves on the links (LLDP). hostd/links/neighbors.h owns them, from lldpd
/// through liblldpctl. A neighbour keeps its id as long as lldpd reports it. A value that it doesn't announce is
/// absent.
namespace contracts::neighbors {

inline constexpr std::array<uint32_t, 2> kPath = {10, 1};

// Fields: source

inline constexpr tn::be32_id Address{1};     ///< first IPv4 management address
inline constexpr tn::raw_id Mac{2};          ///< chassis id if it is a MAC address, else port id if it is one
inline constexpr tn::string_id Version{6};   ///< system description
inline constexpr tn::string_id Identity{7};  ///< system name, or else chassis id
inline constexpr tn::string_id Platform{8};  ///< maker and model (LLDP-MED inventory)
inline constexpr tn::string_id Port{11};     ///< description of the neighbour's port, or else its id

}  // namespace contracts::neighbors
