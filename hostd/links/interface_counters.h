#pragma once

#include <linux/if_link.h>

#include <array>
#include <bitset>
#include <cstdint>

#include "contracts/interface_counters.h"
#include "hostd/table/wanted_fields.h"
#include "tn/message.h"

namespace hostd {

/// The groups of standard counters of drivers (ETHTOOL_MSG_STATS_GET). RxSizes and TxSizes count frames by size class.
enum class DriverGroup : uint8_t { None, Mac, Phy, Control, Rmon, RxSizes, TxSizes };
/// Number of size classes: frames of up to 64, 127, 255, 511, 1023 and about 1518 octets, and longer frames. The
/// classes are numbered from 0.
constexpr size_t kSizeClasses = 7;

/// The counters that a driver has reported. Each is identified by its index in contracts/interface_counters.h.
class DriverCounters {
  public:
    /// Stores a counter. If it has been stored before, the first value stays; values of one size class are added up.
    /// Counters that aren't in the contract are ignored.
    /// @param number  within the group: ETHTOOL_A_STATS_*, or the size class
    void add(DriverGroup group, uint32_t number, uint64_t value);
    /// Adds the counters that only an earlier reading had.
    void retainFrom(const DriverCounters& before);
    /// Number of counters that the driver has reported.
    [[nodiscard]] size_t count() const { return isSet_.count(); }
    /// True if the driver has reported this counter.
    /// @param counter  index, less than contracts::interface_counters::kCount
    [[nodiscard]] bool has(size_t counter) const { return isSet_[counter]; }
    /// The counter with this index; 0 if it wasn't reported.
    [[nodiscard]] uint64_t value(size_t counter) const { return values_[counter]; }

  private:
    std::array<uint64_t, contracts::interface_counters::kCount> values_{};
    std::bitset<contracts::interface_counters::kCount> isSet_;
};

/// The size class, 0 to kSizeClasses - 1, of a driver's range of frame sizes.
/// @param lowerBound  of the range, in octets
[[nodiscard]] uint32_t sizeClass(uint32_t lowerBound);

/// Inserts the wanted counters of an interface into a row. A counter that the driver has comes from the driver, any
/// other from the kernel. Counters of the kernel that are 0 are left out.
/// @param kernel  as rtnetlink(7) reports them (IFLA_STATS64)
/// @param driver  nullptr if it hasn't answered yet. All counters that drivers can have are then absent: a later change
///                from the kernel's value to the driver's would look like a jump
void insertCounters(tn::message& row, const WantedFields& wanted, const rtnl_link_stats64& kernel,
                    const DriverCounters* driver);

}  // namespace hostd
