#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "hostd/links/interface_counters.h"

namespace hostd {

/// A counter of one of the standard groups.
struct DriverCounter {
    DriverGroup group;
    uint32_t number;  ///< within the group
};

/// The standard counter that a driver's own name stands for, as `ethtool -S` shows it: "rx_bcast_packets",
/// "RxBroadcastPkts", "in_broadcasts". Nothing for a name that isn't common to several drivers, and for per-queue
/// counters.
[[nodiscard]] std::optional<DriverCounter> counterNamed(std::string_view name);

}  // namespace hostd
