#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <map>
#include <optional>
#include <span>

#include "hostd/links/interface_counters.h"

namespace hostd {

/// One reading of what a driver reports about one of its interfaces.
struct DriverReading {
    std::optional<uint32_t> speed;  ///< Mbit/s (ETHTOOL_A_LINKMODES_SPEED); absent when not known, as without carrier
    DriverCounters counters;
    bool areCounted = false;  ///< true: the driver answered the query for counters, even if it has none
};

using DriverReadings = std::map<uint32_t, DriverReading>;  ///< by ifindex

/// What ethtool calls the mode of a link, including those that no driver created: a veth has a speed, and the speed of
/// a VLAN or an aggregate follows from that of the links below.
struct LinkMode {
    uint32_t speed = 0;   ///< Mbit/s; 0 when not known, as without carrier
    uint32_t duplex = 0;  ///< one of contracts::interfaces::duplex; 0 when not known
};

using LinkModes = std::map<uint32_t, LinkMode>;  ///< by ifindex

/// Queries the modes of all links over generic netlink. Waits for each driver, so it can block.
/// @return without those links that have no mode; nothing if the kernel doesn't reply
[[nodiscard]] std::optional<LinkModes> readLinkModes();

/// Adds the mode of an ETHTOOL_MSG_LINKMODES_GET_REPLY. Ignores other and malformed messages.
void readLinkMode(const nlmsghdr& message, LinkModes& modes);

/// Queries the drivers of these interfaces for their speed and their standard counters, over generic netlink (ethtool
/// netlink, Linux 5.6 and later). A driver without standard counters is queried for counters that have its own
/// names (SIOCETHTOOL). Waits for each driver, so it can block. Failures aren't logged.
/// @param indexes  ifindexes
/// @return an entry for each interface; what its driver doesn't report is absent
[[nodiscard]] DriverReadings readDrivers(std::span<const uint32_t> indexes);

/// Adds the counters of an ETHTOOL_MSG_STATS_GET_REPLY, or the speed of an ETHTOOL_MSG_LINKMODES_GET_REPLY, to a
/// reading. Ignores other and malformed messages.
void readDriverAnswer(const nlmsghdr& message, DriverReading& reading);

/// Adds counters that have a driver's own names. Names that counterNamed() doesn't know are ignored.
/// @param names  ETH_GSTRING_LEN octets for each value, padded with zeros
void readNamedCounters(std::span<const char> names, std::span<const uint64_t> values, DriverCounters& counters);

}  // namespace hostd
