#include "hostd/machine/processor_loads.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "hostd/source/text_lines.h"

namespace hostd {

namespace {

constexpr std::string_view kPrefix = "cpu";

}  // namespace

// A line is "cpu3 user nice system idle iowait irq softirq steal guest guest_nice", in clock ticks.
std::vector<ProcessorLoads::Times> ProcessorLoads::parse(std::string_view stat) {
    std::vector<Times> all;
    while (!stat.empty()) {
        std::string_view line = takeLine(stat);
        if (!line.starts_with(kPrefix)) continue;
        line.remove_prefix(kPrefix.size());
        if (line.starts_with(' ')) continue;  // the sum of all processors
        const auto number = takeNumber(line);
        if (!number || *number >= UINT32_MAX - 1) continue;
        // The last two kinds aren't counted: user and nice include the time of guests.
        constexpr size_t kKinds = 8;
        constexpr size_t kIdle = 3;
        constexpr size_t kIoWait = 4;
        Times times{static_cast<uint32_t>(*number) + 1};
        for (size_t i = 0; i < kKinds; ++i) {
            const uint64_t ticks = takeNumber(line).value_or(0);
            times.total += ticks;
            if (i != kIdle && i != kIoWait) times.busy += ticks;
        }
        all.push_back(times);
    }
    std::ranges::sort(all, {}, &Times::id);
    return all;
}

ProcessorLoads::Times ProcessorLoads::startOfInterval(uint64_t now, uint32_t id) const {
    Times start;  // zeros: the machine's start
    for (const Reading& reading : readings_) {
        if (now - reading.at < kSpacing) break;
        const auto found = std::ranges::lower_bound(reading.times, id, {}, &Times::id);
        if (found == reading.times.end() || found->id != id) continue;
        start = *found;
        if (now - reading.at <= kOldest) break;
    }
    return start;
}

void ProcessorLoads::forget(uint64_t now) {
    const auto isInside = [now](const Reading& reading) { return now - reading.at < kWindow; };
    const auto inside = std::ranges::find_if(readings_, isInside);
    if (inside - readings_.begin() > 1) readings_.erase(readings_.begin(), inside - 1);
}

void ProcessorLoads::update(uint64_t now, std::string_view stat) {
    forget(now);
    std::vector<Times> current = parse(stat);
    std::map<uint32_t, uint32_t> percent;
    for (const Times& times : current) {
        const Times before = startOfInterval(now, times.id);
        const bool moved = times.total > before.total && times.busy >= before.busy;
        const uint64_t total = times.total - before.total;
        const uint64_t busy = std::min(times.busy - before.busy, total);
        percent[times.id] = moved ? static_cast<uint32_t>((busy * 100 + total / 2) / total) : percent_[times.id];
    }
    percent_ = std::move(percent);
    if (readings_.empty() || now - readings_.back().at >= kSpacing) readings_.push_back({now, std::move(current)});
}

}  // namespace hostd
