#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "hostd/links/interface_counters.h"

namespace hostd {

/// A standard counter. Its number is the same for all drivers.
struct DriverCounter {
    DriverGroup group;
    uint32_t number;  ///< within the group: ETHTOOL_A_STATS_*, or the size class
};

/// The standard counter that corresponds to a driver's own counter name, as `ethtool -S` prints it: "rx_bcast_packets",
/// "RxBroadcastPkts", "in_broadcasts". Case and separators don't matter. Nothing for counters of a single queue, and
/// for names that aren't in the tables of driver_names.cc.
[[nodiscard]] std::optional<DriverCounter> counterNamed(std::string_view name);

}  // namespace hostd
