#include "hostd/interface_counters.h"

#include <algorithm>

namespace hostd {

void DriverCounters::add(DriverGroup group, uint32_t number, uint64_t value) {
    const auto counter = std::ranges::find_if(
        kCounters, [&](const InterfaceCounter& known) { return known.group == group && known.number == number; });
    if (counter == kCounters.end() || group == DriverGroup::None) return;
    const auto at = static_cast<size_t>(counter - kCounters.begin());
    values_[at] += value;
    kept_[at] = true;
}

uint32_t sizeClass(uint32_t lowerBound) {
    constexpr std::array kLowest = {0U, 65U, 128U, 256U, 512U, 1024U, 1025U};
    static_assert(kLowest.size() == kSizeClasses);
    return static_cast<uint32_t>(std::ranges::upper_bound(kLowest, lowerBound) - kLowest.begin() - 1);
}

namespace {

constexpr size_t kKernelCount = static_cast<size_t>(
    std::ranges::count_if(kCounters, [](const InterfaceCounter& counter) { return counter.kernel != nullptr; }));

/// Those of the kernel alone: most interfaces have no others, and are told of often.
constexpr auto kKernelCounters = [] {
    std::array<InterfaceCounter, kKernelCount> found{};
    std::ranges::copy_if(kCounters, found.begin(), [](const InterfaceCounter& c) { return c.kernel != nullptr; });
    return found;
}();

void insertKernel(tn::message& row, const rtnl_link_stats64& kernel, const InterfaceCounter& counter) {
    if (const uint64_t value = kernel.*counter.kernel; value != 0) row.insert_u64(counter.field, value);
}

}  // namespace

void insertCounters(tn::message& row, const rtnl_link_stats64& kernel, const DriverCounters* driver) {
    if (driver == nullptr) {
        for (const InterfaceCounter& counter : kKernelCounters) insertKernel(row, kernel, counter);
        return;
    }
    for (size_t i = 0; i < kCounters.size(); ++i) {
        if (kCounters[i].kernel != nullptr)
            insertKernel(row, kernel, kCounters[i]);
        else if (driver->isKept(i))
            row.insert_u64(kCounters[i].field, driver->value(i));
    }
}

}  // namespace hostd
