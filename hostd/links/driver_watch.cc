#include "hostd/links/driver_watch.h"

#include <utility>

namespace hostd {

DriverWatch::DriverWatch(DriverSource source)
    : watch_(
          "interface drivers", [work = work_, source = std::move(source)] { return read(*work, source); }, kMaxAge) {}

DriverReadings DriverWatch::read(Work& work, const DriverSource& source) {
    std::unique_lock lock(work.mutex);
    const std::vector<uint32_t> indexes = work.indexes;
    lock.unlock();
    DriverReadings readings = source(indexes);
    for (auto& [index, reading] : readings) {
        const auto before = work.last.find(index);
        if (before == work.last.end()) continue;
        reading.counters.retainFrom(before->second.counters);
        reading.areCounted = reading.areCounted || before->second.areCounted;
    }
    work.last = readings;
    return readings;
}

void DriverWatch::setInterfaces(std::vector<uint32_t> indexes) {
    if (indexes.size() > kMaxInterfaces) indexes.resize(kMaxInterfaces);
    hasInterfaces_ = !indexes.empty();
    const std::lock_guard lock(work_->mutex);
    work_->indexes = std::move(indexes);
}

void DriverWatch::keepReading() {
    if (hasInterfaces_) watch_.keepReading();
}

void DriverWatch::refresh() {
    if (!hasInterfaces_) return;
    if (auto latest = watch_.latest()) readings_ = std::move(latest);
}

const DriverReading* DriverWatch::find(uint32_t index) const {
    if (!readings_) return nullptr;
    const auto found = readings_->find(index);
    return found == readings_->end() ? nullptr : &found->second;
}

std::optional<uint32_t> DriverWatch::speed(uint32_t index) const {
    const DriverReading* reading = find(index);
    return reading == nullptr ? std::nullopt : reading->speed;
}

const DriverCounters* DriverWatch::counters(uint32_t index) const {
    const DriverReading* reading = find(index);
    return reading == nullptr || !reading->areCounted ? nullptr : &reading->counters;
}

}  // namespace hostd
