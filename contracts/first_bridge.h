#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {24, 1080} to {24, 1084}: the bridge with the lowest ifindex. hostd/links/bridge_tables.h owns it, from
/// rtnetlink(7). For the plug-in bridge. Bridge ids have 8 octets: priority, then MAC address. Ports have the bridge's
/// own numbers, from 1 to 1023. A list of ports has a bit for each port number, the most significant one of the first
/// octet for port 1 (PortList, RFC 4363).

/// The bridge itself. The reply to a get is empty if there is no bridge.
namespace contracts::first_bridge {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1080};

// Fields: unit; source

inline constexpr tn::u32_id Ifindex{1};
inline constexpr tn::u32_id Ports{2};         ///< their number
inline constexpr tn::raw_id RootId{3};        ///< bridge id; IFLA_BR_ROOT_ID
inline constexpr tn::u32_id RootCost{4};      ///< IFLA_BR_ROOT_PATH_COST
inline constexpr tn::u32_id RootPort{5};      ///< number of the port to the root; 0 if it is the root
inline constexpr tn::u32_id MaxAge{6};        ///< hundredths of a second, as are the next three; those of the root
inline constexpr tn::u32_id HelloTime{7};     ///< IFLA_BR_HELLO_TIME
inline constexpr tn::u32_id ForwardDelay{8};  ///< IFLA_BR_FORWARD_DELAY
inline constexpr tn::u32_id AgeingTime{9};    ///< IFLA_BR_AGEING_TIME
inline constexpr tn::bool_id IsRoot{10};      ///< it is the root of the spanning tree
inline constexpr tn::bool_id VlanAware{11};   ///< IFLA_BR_VLAN_FILTERING; if not, there are no VLANs
inline constexpr tn::u32_id Vlans{12};        ///< their number

}  // namespace contracts::first_bridge

/// Its ports. A row's id is the port's number.
namespace contracts::bridge_ports {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1081};

// Fields: unit; source

inline constexpr tn::u32_id Ifindex{1};
inline constexpr tn::u32_id Mtu{2};               ///< octets
inline constexpr tn::u32_id State{3};             ///< a PortState; IFLA_BRPORT_STATE
inline constexpr tn::u32_id PortId{4};            ///< 16 bits: priority and number; IFLA_BRPORT_ID
inline constexpr tn::u32_id Cost{5};              ///< IFLA_BRPORT_COST
inline constexpr tn::raw_id Root{6};              ///< bridge id; IFLA_BRPORT_ROOT_ID
inline constexpr tn::u32_id DesignatedCost{7};    ///< IFLA_BRPORT_DESIGNATED_COST
inline constexpr tn::raw_id DesignatedBridge{8};  ///< bridge id; IFLA_BRPORT_BRIDGE_ID
inline constexpr tn::u32_id DesignatedPort{9};    ///< 16 bits; IFLA_BRPORT_DESIGNATED_PORT
inline constexpr tn::bool_id Enabled{10};         ///< IFF_UP
inline constexpr tn::u64_id InFrames{11};         ///< rx_packets
inline constexpr tn::u64_id OutFrames{12};        ///< tx_packets
inline constexpr tn::u64_id InDiscards{13};       ///< frames; rx_dropped
inline constexpr tn::u32_id Pvid{14};  ///< VLAN of untagged frames, 0 for none; absent if the bridge isn't VLAN-aware

/// Values of State (dot1dStpPortState, RFC 4188).
enum class PortState : uint32_t { Disabled = 1, Blocking = 2, Listening = 3, Learning = 4, Forwarding = 5 };

}  // namespace contracts::bridge_ports

/// Its VLANs. A row's id is the VLAN id.
namespace contracts::bridge_vlans {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1082};

// Fields

inline constexpr tn::raw_id Egress{1};    ///< list of the member ports
inline constexpr tn::raw_id Untagged{2};  ///< list of the ports that send its frames untagged
inline constexpr tn::u32_id Learned{3};   ///< number of forwarding entries that were learnt

}  // namespace contracts::bridge_vlans

/// Its forwarding entries. {24, 1083} has one for each address, keyed by Mac: the one without a VLAN if there is one,
/// else that of the lowest VLAN. {24, 1084} has those of the VLANs, keyed by Vlan and Mac.
namespace contracts::bridge_hosts {

inline constexpr std::array<uint32_t, 2> kByMacPath = {24, 1083};
inline constexpr std::array<uint32_t, 2> kByVlanPath = {24, 1084};

// Fields: source

inline constexpr tn::u32_id Vlan{1};    ///< key; NDA_VLAN, 0 for none
inline constexpr tn::raw_id Mac{2};     ///< key, 6 octets; NDA_LLADDR
inline constexpr tn::u32_id Port{3};    ///< number of the port; 0 for the bridge itself
inline constexpr tn::u32_id Status{4};  ///< a HostStatus; ndm_state

/// Values of Status (dot1dTpFdbStatus, RFC 4188).
enum class HostStatus : uint32_t {
    Learned = 3,
    Self = 4,        ///< an address of the bridge or of a port
    Configured = 5,  ///< added by an administrator
};

}  // namespace contracts::bridge_hosts
