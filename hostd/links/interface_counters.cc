#include "hostd/links/interface_counters.h"

#include <algorithm>

namespace hostd {

void DriverCounters::add(DriverGroup group, uint32_t number, uint64_t value) {
    const auto counter = std::ranges::find_if(
        kCounters, [&](const InterfaceCounter& known) { return known.group == group && known.number == number; });
    if (counter == kCounters.end() || group == DriverGroup::None) return;
    const auto at = static_cast<size_t>(counter - kCounters.begin());
    const bool isRange = group == DriverGroup::RxSizes || group == DriverGroup::TxSizes;
    if (kept_[at] && !isRange) return;
    values_[at] += value;
    kept_[at] = true;
}

void DriverCounters::keepFrom(const DriverCounters& before) {
    for (size_t at = 0; at < values_.size(); ++at)
        if (!kept_[at]) values_[at] = before.values_[at];
    kept_ |= before.kept_;
}

uint32_t sizeClass(uint32_t lowerBound) {
    constexpr std::array kLowest = {0U, 65U, 128U, 256U, 512U, 1024U, 1025U};
    static_assert(kLowest.size() == kSizeClasses);
    return static_cast<uint32_t>(std::ranges::upper_bound(kLowest, lowerBound) - kLowest.begin() - 1);
}

void insertCounters(tn::message& row, const rtnl_link_stats64& kernel, const DriverCounters* driver) {
    for (size_t i = 0; i < kCounters.size(); ++i) {
        const InterfaceCounter& counter = kCounters[i];
        const bool isKernels = counter.group == DriverGroup::None;
        if (!isKernels && driver == nullptr) continue;
        if (!isKernels && driver->isKept(i))
            row.insert_u64(counter.field, driver->value(i));
        else if (counter.kernel != nullptr && kernel.*counter.kernel != 0)
            row.insert_u64(counter.field, kernel.*counter.kernel);
    }
}

}  // namespace hostd
