#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <map>
#include <optional>
#include <span>

#include "hostd/links/interface_counters.h"

namespace hostd {

/// What a driver reports about one of its interfaces.
struct DriverReading {
    std::optional<uint32_t> speed;  ///< Mbit/s; nothing when it isn't known, for instance without carrier
    DriverCounters counters;
    bool areCounted = false;  ///< whether the driver answered; true also if it has no counters
};

using DriverReadings = std::map<uint32_t, DriverReading>;  ///< by ifindex

/// Queries the drivers of these interfaces (ethtool over generic netlink, ethtool-netlink in the kernel's
/// documentation), and those without standard counters for the counters they name themselves (SIOCETHTOOL). Waits for
/// each of them, so it can block. What isn't reported is absent.
[[nodiscard]] DriverReadings readDrivers(std::span<const uint32_t> indexes);

/// Adds what ETHTOOL_MSG_STATS_GET_REPLY or ETHTOOL_MSG_LINKMODES_GET_REPLY reports; ignores other messages.
void readDriverAnswer(const nlmsghdr& message, DriverReading& reading);

/// Adds counters that a driver names itself. Unknown names are ignored.
/// @param names  ETH_GSTRING_LEN octets each, as many as there are values
void readNamedCounters(std::span<const char> names, std::span<const uint64_t> values, DriverCounters& counters);

}  // namespace hostd
