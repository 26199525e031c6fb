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
};

/// By ifindex; milliseconds of tn::getMilliseconds when the reading began.
struct DriverReadings {
    uint64_t at = 0;
    std::map<uint32_t, DriverReading> links;
};

/// Asks the drivers of these interfaces (ethtool over generic netlink, ethtool-netlink in the kernel's documentation).
/// Waits for each of them, so it can block. What isn't told is absent.
[[nodiscard]] DriverReadings readDrivers(std::span<const uint32_t> indexes, uint64_t now);

/// Reads ETHTOOL_MSG_STATS_GET_REPLY and ETHTOOL_MSG_LINKMODES_GET_REPLY; other messages are passed over.
void readDriverAnswer(const nlmsghdr& message, DriverReading& reading);

}  // namespace hostd
