#include "hostd/processor_loads.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string>

namespace hostd {

namespace {

constexpr std::string_view kPrefix = "cpu";

std::optional<uint64_t> takeNumber(std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    uint64_t value = 0;
    const auto [rest, failed] = std::from_chars(line.data(), line.data() + line.size(), value);
    if (failed != std::errc()) return {};
    line.remove_prefix(static_cast<size_t>(rest - line.data()));
    return value;
}

}  // namespace

// "cpu3 user nice system idle iowait irq softirq steal guest guest_nice", in clock ticks
void ProcessorLoads::update(std::string_view stat) {
    std::map<uint32_t, Times> times;
    while (!stat.empty()) {
        std::string_view line = stat.substr(0, stat.find('\n'));
        stat.remove_prefix(std::min(line.size() + 1, stat.size()));
        if (!line.starts_with(kPrefix)) continue;
        line.remove_prefix(kPrefix.size());
        if (line.starts_with(' ')) continue;  // the sum of all
        const auto number = takeNumber(line);
        if (!number || *number >= UINT32_MAX - 1) continue;
        // Guests' time is within user and nice already.
        constexpr size_t kKinds = 8;
        constexpr size_t kIdle = 3;
        constexpr size_t kIoWait = 4;
        Times now;
        for (size_t i = 0; i < kKinds; ++i) {
            const uint64_t ticks = takeNumber(line).value_or(0);
            now.total += ticks;
            if (i != kIdle && i != kIoWait) now.busy += ticks;
        }
        times[static_cast<uint32_t>(*number) + 1] = now;
    }
    std::map<uint32_t, uint32_t> percent;
    for (const auto& [id, now] : times) {
        const Times before = times_.contains(id) ? times_[id] : Times();
        const bool moved = now.total > before.total && now.busy >= before.busy;
        const uint64_t total = now.total - before.total;
        const uint64_t busy = std::min(now.busy - before.busy, total);
        percent[id] = moved ? static_cast<uint32_t>((busy * 100 + total / 2) / total) : percent_[id];
    }
    times_ = std::move(times);
    percent_ = std::move(percent);
}

}  // namespace hostd
