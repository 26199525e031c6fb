#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "tn/ids.h"

/// {20, 0}: the network interfaces. hostd/links/interfaces.h owns them, from rtnetlink(7) and the drivers' ethtool
/// netlink.
///
/// A row's id is the ifindex. Besides the fields below, a row has tn::field::Comment, the alias (IFLA_IFALIAS; absent
/// if empty), and tn::field::Disabled (true without IFF_UP, else absent). Counters wrap as the kernel's do; a u32
/// counter is the low half of the kernel's 64 bits. contracts/interface_counters.h has the detailed counters.
///
/// A get-all with Kind lists only the interfaces of that kind. The rows of a get-all with tn::field::Fields may lack
/// all fields but these. A set with tn::field::Disabled disables a link (true) or enables it (false).
/// tn::error::Refused if the command line doesn't allow that or the kernel refuses. Any other set is accepted and
/// changes nothing.
namespace contracts::interfaces {

inline constexpr std::array<uint32_t, 2> kPath = {20, 0};

// Commands

/// Lists ObjectId, Flags, Status and Disabled of each interface, in pages as a get-all does.
inline constexpr uint32_t kList = 1;
/// Replies with the SpeedSelector of the interface tn::field::ObjectId; tn::error::NotFound if it doesn't exist.
inline constexpr uint32_t kGetSpeed = 0x10001;
/// Notification: ObjectId, Flags, Status, Name and Disabled of an interface, once for each change of Status. An
/// interface that has been removed has Status 0 and is Disabled. The filter of a subscription may have Flags, which
/// excludes interfaces with any of these flags, and Status, which must have the bit kStatusChanges. An absent field
/// excludes nothing.
inline constexpr uint32_t kStatusChanged = 0x10004;
inline constexpr uint32_t kStatusChanges = 0x80;  ///< bit of Status in a filter: send this notification

// Fields: unit; source

inline constexpr tn::u32_id Priority{2};          ///< of a bridge; IFLA_BR_PRIORITY
inline constexpr tn::raw_id Mac{1001};            ///< octets of the link address; IFLA_ADDRESS, absent if there is none
inline constexpr tn::u32_id Parent{2002};         ///< of a VLAN, an ifindex; IFLA_LINK
inline constexpr tn::u32_id Kind{0x10001};        ///< one of kind; IFLA_INFO_KIND, ifi_type
inline constexpr tn::u32_id Flags{0x10002};       ///< kInternal or 0; hostd always sends 0
inline constexpr tn::u32_id Status{0x10003};      ///< bits of status; ifi_flags
inline constexpr tn::string_id Name{0x10006};     ///< IFLA_IFNAME
inline constexpr tn::bool_id Running{0x1000e};    ///< IFF_RUNNING; absent if not set
inline constexpr tn::u32_id Mtu{0x10064};         ///< octets; IFLA_MTU
inline constexpr tn::u32_id InDiscards{0x100f8};  ///< packets; rx_dropped + rx_missed_errors of rtnl_link_stats64
inline constexpr tn::u32_id OutDiscards{0x100f9};  ///< packets; tx_dropped
inline constexpr tn::u32_id InErrors{0x100fa};     ///< packets; rx_errors
inline constexpr tn::u32_id OutErrors{0x100fb};    ///< packets; tx_errors
inline constexpr tn::u64_id InOctets{0x100fc};     ///< octets; rx_bytes
inline constexpr tn::u64_id OutOctets{0x100fd};    ///< octets; tx_bytes
inline constexpr tn::u64_id InUnicast{0x100fe};    ///< packets, multicast and broadcast included; rx_packets
inline constexpr tn::u64_id OutUnicast{0x100ff};   ///< packets, multicast and broadcast included; tx_packets

// For the plug-ins ifx and etherlike. The owner reads the link modes of ethtool netlink only if a request wants them.

inline constexpr tn::bool_id Promiscuous{1200};    ///< IFLA_PROMISCUITY, absent if 0
inline constexpr tn::bool_id Connector{1201};      ///< an Ethernet device with a driver, no radio; absent if not
inline constexpr tn::u32_id Speed{1202};           ///< Mbit/s; link modes, absent if the kernel doesn't know it
inline constexpr tn::u32_id Duplex{1203};          ///< one of duplex; link modes, absent if the kernel doesn't know it
inline constexpr tn::u32_id Type{1204};            ///< IANAifType; IFLA_INFO_KIND, ifi_type
inline constexpr tn::u32_id LastChange{1205};      ///< s from boot to the last change of Running, see below
inline constexpr tn::u32_id Discontinuity{1206};   ///< s from boot to when counters were last seen to fall
inline constexpr tn::u64_id InUnicastOnly{1207};   ///< packets; InUnicast - HostRxMulticast - RxBroadcast
inline constexpr tn::u64_id OutUnicastOnly{1208};  ///< packets; OutUnicast - TxMulticast - TxBroadcast
inline constexpr uint32_t kFirstDetail = Promiscuous.number, kLastDetail = OutUnicastOnly.number;
// LastChange and Discontinuity are when an interface was added, and 0 if the owner found it when it started.
// InUnicastOnly and OutUnicastOnly never fall while the counters that they are made of don't: those aren't read at the
// same moment, so the difference is the largest so far.

/// One of speed_selector. It is in the rows of Ethernet links and VLANs, and in the reply to kGetSpeed unless it is
/// None. A VLAN has that of its parent. Owners elsewhere send it only in the reply.
inline constexpr tn::u32_id SpeedSelector{1102};

inline constexpr uint32_t kInternal = 0x80;  ///< bit of Flags: an interface that causes no traps

/// Values of Kind that hostd sends; owners elsewhere have more.
namespace kind {
inline constexpr uint32_t Other = 0;     ///< loopback, and links of no kind below
inline constexpr uint32_t Ethernet = 1;  ///< links with Ethernet frames and of no kind below: devices, veth, tap, bond
inline constexpr uint32_t Wireless = 5;
inline constexpr uint32_t Ppp = 10;
inline constexpr uint32_t Bridge = 12;
inline constexpr uint32_t Tunnel = 17;
inline constexpr uint32_t Vlan = 30;
}  // namespace kind

/// Bits of Status.
namespace status {
inline constexpr uint32_t Up = 0x100;           ///< enabled and with carrier; IFF_UP, IFF_LOWER_UP
inline constexpr uint32_t Operational = 0x400;  ///< can pass packets (ifOperStatus up, RFC 2863); IFF_UP, IFF_RUNNING
}  // namespace status

/// Values of SpeedSelector.
namespace speed_selector {
inline constexpr uint32_t None = 0;  ///< another speed, no driver under the link (veth, tunnels) or none that answers
inline constexpr uint32_t Mbit10 = 1;
inline constexpr uint32_t Mbit100 = 2;
inline constexpr uint32_t Mbit1000 = 3;
}  // namespace speed_selector

/// Values of Duplex: those of dot3StatsDuplexStatus (RFC 3635).
namespace duplex {
inline constexpr uint32_t Half = 2;
inline constexpr uint32_t Full = 3;
}  // namespace duplex

}  // namespace contracts::interfaces
