#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {24, 1030}: the scalars of the groups ip, icmp, tcp and udp of MIB-II (RFC 1213). hostd/inet/ip_counters.h owns
/// them, from PROC/net/snmp. For the plug-ins mib2 and ip-mib.
///
/// ip and icmp are those of IPv4. tcp and udp are those of IPv4 and IPv6 together (RFC 4022, RFC 4113).
namespace contracts::ip_counters {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1030};

// The object { mib-2 4 n } is the u64 field kIp + n, for example. A number that isn't a counter may be negative: it is
// in two's complement.

inline constexpr uint32_t kIp = 400;
inline constexpr uint32_t kIcmp = 500;
inline constexpr uint32_t kTcp = 600;
inline constexpr uint32_t kUdp = 700;
inline constexpr uint32_t kMost = 26;  ///< the highest number of an object in its group

}  // namespace contracts::ip_counters
