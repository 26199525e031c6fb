#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "hostd/interface_counters.h"

namespace hostd {

/// A counter of one of the groups that drivers keep by common names.
struct DriverCounter {
    DriverGroup group;
    uint32_t number;  ///< within the group
};

/// Which counter a driver means by a name of its own, as `ethtool -S` shows them: "rx_bcast_packets",
/// "RxBroadcastPkts", "in_broadcasts". Nothing for a name that isn't shared by several drivers' devices, and for counts
/// of one queue.
[[nodiscard]] std::optional<DriverCounter> counterNamed(std::string_view name);

}  // namespace hostd
