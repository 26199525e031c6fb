#pragma once

#include <linux/if_link.h>

#include <array>
#include <bitset>
#include <cstdint>

#include "contracts/interface_counters.h"
#include "tn/message.h"

namespace hostd {

/// The groups of counters that drivers report under common names (ETHTOOL_MSG_STATS_GET). The two of frame sizes are by
/// class: up to 64, 127, 255, 511, 1023, about 1518 octets, and above.
enum class DriverGroup : uint8_t { None, Mac, Phy, Control, Rmon, RxSizes, TxSizes };
constexpr size_t kSizeClasses = 7;

/// The counters that a driver has reported, by their place in contracts/interface_counters.h.
class DriverCounters {
  public:
    /// Stores a counter: the first of several values, or the sum for frame sizes. Unknown numbers are ignored.
    void add(DriverGroup group, uint32_t number, uint64_t value);
    /// Adds the counters that these lack and an earlier reading had.
    void retainFrom(const DriverCounters& before);
    /// How many counters the driver has.
    [[nodiscard]] size_t count() const { return isSet_.count(); }
    /// @param counter  place in contracts/interface_counters.h
    [[nodiscard]] bool has(size_t counter) const { return isSet_[counter]; }
    /// 0 without the counter.
    [[nodiscard]] uint64_t value(size_t counter) const { return values_[counter]; }

  private:
    std::array<uint64_t, contracts::interface_counters::kCount> values_{};
    std::bitset<contracts::interface_counters::kCount> isSet_;
};

/// The size class of a driver's range of frame sizes, by its lower bound in octets.
[[nodiscard]] uint32_t sizeClass(uint32_t lowerBound);

/// Puts the counters into a row: those that the driver has, else the kernel's that aren't 0.
/// @param driver  nullptr if it hasn't answered yet: its counters are then absent, since switching from the kernel's
///                equivalents to them later would look like a jump
void insertCounters(tn::message& row, const rtnl_link_stats64& kernel, const DriverCounters* driver);

}  // namespace hostd
