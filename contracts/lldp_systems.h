#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "tn/ids.h"

/// {24, 1060} to {24, 1064}: what this system and its neighbours announce (LLDP, IEEE 802.1AB).
/// hostd/links/lldp_tables.h owns it, from lldpd through liblldpctl. For the plug-in lldp. Subtypes and capabilities
/// have the standard's numbers. A text that isn't announced is empty.

/// What a system announces of itself: this one, as the reply to a get, which is empty without lldpd; and each
/// neighbour, as a row keyed by Port and Index.
namespace contracts::lldp_systems {

inline constexpr std::array<uint32_t, 2> kLocalPath = {24, 1060};
inline constexpr std::array<uint32_t, 2> kRemotePath = {24, 1063};

// Fields

inline constexpr tn::u32_id Port{1};   ///< key: ifindex of our interface; not of this system
inline constexpr tn::u32_id Index{2};  ///< key: usually the same after a restart; not of this system
inline constexpr tn::u32_id ChassisIdSubtype{3};
inline constexpr tn::raw_id ChassisId{4};
inline constexpr tn::string_id Name{5};
inline constexpr tn::string_id Description{6};
inline constexpr tn::u32_id Capabilities{7};  ///< bit 0 for "other", bit 7 for "station only"
inline constexpr tn::u32_id EnabledCapabilities{8};
// Of the port of a neighbour, or of a row of lldp_ports.
inline constexpr tn::u32_id PortIdSubtype{9};
inline constexpr tn::raw_id PortId{10};
inline constexpr tn::string_id PortDescription{11};

}  // namespace contracts::lldp_systems

/// Our own ports, with the fields of lldp_systems that describe a port. A row's id is the ifindex.
namespace contracts::lldp_ports {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1061};

}  // namespace contracts::lldp_ports

/// The management addresses of this system, keyed by Family and Address, and of its neighbours, keyed by Port, Index,
/// Family and Address.
namespace contracts::lldp_addresses {

inline constexpr std::array<uint32_t, 2> kLocalPath = {24, 1062};
inline constexpr std::array<uint32_t, 2> kRemotePath = {24, 1064};

inline constexpr size_t kMostOctets = 16;

// Fields

inline constexpr tn::u32_id Port{1};       ///< key, as above
inline constexpr tn::u32_id Index{2};      ///< key, as above
inline constexpr tn::u32_id Family{3};     ///< key: 1 for IPv4, 2 for IPv6 (AddressFamilyNumbers)
inline constexpr tn::raw_id Address{4};    ///< key: 4 or 16 octets, the first one of the address first
inline constexpr tn::u32_id Interface{5};  ///< number of the interface with this address, of the system that has it

}  // namespace contracts::lldp_addresses
