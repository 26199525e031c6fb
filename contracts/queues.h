#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {20, 9} and {20, 12}: the queues of this host's traffic control (tc(8)). hostd/links/queues.h owns them, from
/// rtnetlink(7). docs/queues.md lists the fields by column.
///
/// {20, 9} has a row for each interface with queues, whose id is the ifindex. {20, 12} has a row for each class, whose
/// id is computed from the name and survives restarts (hostd::classId). Counters of a queue that doesn't exist are
/// absent. Packets are the low half of the kernel's 64 bits; the kernel counts drops in 32.
namespace contracts::queues {

inline constexpr std::array<uint32_t, 2> kInterfacesPath = {20, 9};
inline constexpr std::array<uint32_t, 2> kTreePath = {20, 12};

// Fields of both: unit; source

inline constexpr tn::string_id Name{2};        ///< IFLA_IFNAME; for a class, followed by its handle: "eth0 1:10"
inline constexpr tn::u64_id SentOctets{200};   ///< octets; TCA_STATS_BASIC of the root qdisc, or of the class
inline constexpr tn::u32_id SentPackets{201};  ///< packets; the same
inline constexpr tn::u32_id SentDrops{213};    ///< packets; TCA_STATS_QUEUE of the root qdisc, or of the class

// Fields of {20, 9}

inline constexpr tn::be32_id Destination{101};      ///< limited network; hostd never sends it
inline constexpr tn::be32_id DestinationMask{103};  ///< of Destination
inline constexpr tn::u32_id Interface{104};         ///< ifindex; tcm_ifindex
inline constexpr tn::be32_array_id Target{105};     ///< limited address and its mask; hostd never sends it
inline constexpr tn::u64_id ReceivedOctets{300};    ///< octets; TCA_STATS_BASIC of the ingress qdisc
inline constexpr tn::u32_id ReceivedPackets{301};   ///< packets; the same
inline constexpr tn::u32_id ReceivedDrops{313};     ///< packets; TCA_STATS_QUEUE of the ingress qdisc

// Fields of {20, 12}

inline constexpr tn::u32_id ParentId{1};          ///< id of the parent's row; 0 at the top
inline constexpr tn::string_array_id Parent{12};  ///< the parent's name, or the interface's at the top

}  // namespace contracts::queues
