#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <map>
#include <optional>
#include <span>

#include "hostd/interface_counters.h"

namespace hostd {

/// What a driver tells of one of its interfaces.
struct DriverReading {
    std::optional<uint32_t> speed;  ///< Mbit/s; nothing when it isn't known, for instance without carrier
    DriverCounters counters;
    bool areCounted = false;  ///< whether the driver has told its counters; one that has none has told so
};

using DriverReadings = std::map<uint32_t, DriverReading>;  ///< by ifindex

/// Asks the drivers of these interfaces (ethtool over generic netlink, ethtool-netlink in the kernel's documentation),
/// and those that keep no counters by common names for what they have by their own (SIOCETHTOOL). Waits for each of
/// them, so it can block. What isn't told is absent.
[[nodiscard]] DriverReadings readDrivers(std::span<const uint32_t> indexes);

/// Reads ETHTOOL_MSG_STATS_GET_REPLY and ETHTOOL_MSG_LINKMODES_GET_REPLY; other messages are passed over.
void readDriverAnswer(const nlmsghdr& message, DriverReading& reading);

/// Takes the counters that drivers have by names of their own.
/// @param names  ETH_GSTRING_LEN octets each, as many as there are values
void readNamedCounters(std::span<const char> names, std::span<const uint64_t> values, DriverCounters& counters);

}  // namespace hostd
