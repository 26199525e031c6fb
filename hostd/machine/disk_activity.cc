#include "hostd/machine/disk_activity.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "contracts/activity.h"
#include "hostd/source/text_lines.h"
#include "hostd/table/row_text.h"

namespace hostd {

namespace disk_activity = contracts::disk_activity;

namespace {

constexpr uint64_t kSector = 512;  // octets, whatever the device's own sectors are

/// The number of a device in the series of those names: "loop3".
bool isOneOf(std::string_view name, std::string_view series) {
    return name.starts_with(series) && name.find_first_not_of("0123456789", series.size()) == std::string_view::npos;
}

}  // namespace

// A line is "8 0 sda reads merged sectors ms writes merged sectors ms in-progress busy-ms weighted-ms ...".
std::vector<BlockCounters> parseDiskstats(std::string_view text) {
    std::vector<BlockCounters> all;
    while (!text.empty()) {
        std::string_view line = takeLine(text);
        takeWord(line);  // major
        takeWord(line);  // minor
        BlockCounters one{.key = std::string(takeWord(line))};
        std::array<uint64_t, 10> numbers{};
        bool isWhole = !one.key.empty();
        for (uint64_t& number : numbers) {
            const auto value = takeNumber(line);
            isWhole = isWhole && value.has_value();
            number = value.value_or(0);
        }
        if (!isWhole) continue;
        one.reads = numbers[0];
        one.readOctets = numbers[2] * kSector;
        one.writes = numbers[4];
        one.writtenOctets = numbers[6] * kSector;
        one.busy = numbers[9];
        const bool isPlaceholder = isOneOf(one.key, "loop") || isOneOf(one.key, "ram");
        if (!isPlaceholder || one.reads > 0 || one.writes > 0) all.push_back(std::move(one));
    }
    return all;
}

void DiskActivity::refresh() {
    if (!at_ || tn::awakeSinceBoot() - *at_ >= kMaxAge) read();
}

void DiskActivity::read() {
    constexpr double kPeriods[] = {60'000, 300'000, 900'000};  // ms
    at_ = tn::awakeSinceBoot();
    rows_ = assignIds(rows_, parseDiskstats(diskstats_.read()), IdRange{});
    std::map<std::string, Means> means;
    for (const auto& [id, row] : rows_) {
        Means& one = means[row.key] = means_[row.key];
        const auto elapsed = static_cast<double>((*at_ - one.at).count());
        const bool isFirst = one.at.count() == 0;
        if (!isFirst && *at_ - one.at < kSpacing) continue;
        const uint64_t grown = row.busy >= one.last ? row.busy - one.last : row.busy;  // the device was replaced
        const double busy = elapsed > 0 ? std::min(static_cast<double>(grown) / elapsed, 1.0) : 0;
        for (size_t i = 0; i < one.busy.size(); ++i) {
            const double weight = isFirst ? 1 : 1 - std::exp(-elapsed / kPeriods[i]);
            one.busy[i] += (busy - one.busy[i]) * weight;
        }
        one.at = *at_;
        one.last = row.busy;
    }
    means_ = std::move(means);
    timer_.start(kInterval, [this] { read(); });
}

std::optional<uint32_t> DiskActivity::firstFrom(uint32_t id) const {
    const auto found = rows_.lower_bound(id);
    return found == rows_.end() ? std::nullopt : std::optional(found->first);
}

void DiskActivity::writeRow(uint32_t id, tn::message& item) const {
    const BlockCounters& row = rows_.at(id);
    insertText(item, disk_activity::Name, row.key);
    item.insert_u64(disk_activity::Reads, row.reads);
    item.insert_u64(disk_activity::ReadOctets, row.readOctets);
    item.insert_u64(disk_activity::Writes, row.writes);
    item.insert_u64(disk_activity::WrittenOctets, row.writtenOctets);
    item.insert_u64(disk_activity::Busy, row.busy);
    const Means& means = means_.at(row.key);
    constexpr tn::u32_id kFields[] = {disk_activity::Busy1Minute, disk_activity::Busy5Minutes,
                                      disk_activity::Busy15Minutes};
    for (size_t i = 0; i < means.busy.size(); ++i)
        item.insert_u32(kFields[i], static_cast<uint32_t>(std::lround(means.busy[i] * 100)));
}

}  // namespace hostd
