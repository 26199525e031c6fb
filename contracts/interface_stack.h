#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {24, 1000}: which interfaces run on top of which, keyed and ordered by Higher and Lower. hostd/links/link_stack.h
/// owns it, from rtnetlink(7). For the plug-in ifx.
///
/// An interface is above another one if it is its bridge, aggregate or VRF (IFLA_MASTER), or a VLAN or macvlan on it
/// (IFLA_LINK). For each interface without another one above it, there is a row with Higher 0; for each without another
/// one below it, a row with Lower 0 (RFC 2863, ifStackTable).
///
/// A get without a row returns LastChange and InterfacesLastChange.
namespace contracts::interface_stack {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1000};

// Fields

inline constexpr tn::u32_id Higher{1};      ///< key, an ifindex or 0
inline constexpr tn::u32_id Lower{2};       ///< key, an ifindex or 0
inline constexpr tn::u64_id LastChange{3};  ///< ms from boot to the last change; 0 if there was none since the start
/// ms from boot to when an interface was last added or removed; 0 if none was since the start
inline constexpr tn::u64_id InterfacesLastChange{4};

}  // namespace contracts::interface_stack
