#include "hostd/driver_watch.h"

#include <utility>

#include "tn/looper.h"
#include "tn/sources.h"

namespace hostd {

DriverWatch::DriverWatch()
    : background_(
          "interface drivers",
          [work = work_] {
              std::unique_lock lock(work->mutex);
              const std::vector<uint32_t> indexes = work->indexes;
              const uint64_t now = work->now;
              lock.unlock();
              return readDrivers(indexes, now);
          },
          kMaxAge, kPatience) {}

DriverWatch::~DriverWatch() {
    if (tn::Looper* looper = tn::getLooper(); looper != nullptr && timer_ != 0) looper->removeTimer(timer_);
}

void DriverWatch::setInterfaces(std::vector<uint32_t> indexes) {
    if (indexes.size() > kMost) indexes.resize(kMost);
    hasInterfaces_ = !indexes.empty();
    const std::lock_guard lock(work_->mutex);
    work_->indexes = std::move(indexes);
}

void DriverWatch::ask(uint64_t now) {
    asked_ = now;
    if (!hasInterfaces_) return;
    look(now);
    if (timer_ == 0) keepLooking();
}

void DriverWatch::look(uint64_t now) {
    {
        const std::lock_guard lock(work_->mutex);
        work_->now = now;
    }
    looked_ = now;
    readings_ = background_.latest(now);
}

void DriverWatch::keepLooking() {
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr) return;
    const auto due = [this] {
        timer_ = 0;
        const uint64_t now = tn::getMilliseconds();
        if (!hasInterfaces_ || now - asked_ >= kLinger) return;
        look(now);
        keepLooking();
    };
    timer_ = looper->addTimer(due, kMaxAge);
}

std::optional<uint32_t> DriverWatch::speed(uint32_t index) const {
    if (!readings_) return {};
    const auto found = readings_->links.find(index);
    return found == readings_->links.end() ? std::nullopt : found->second.speed;
}

const DriverCounters* DriverWatch::counters(uint32_t index) const {
    if (!readings_ || looked_ - readings_->at >= kTooOld) return nullptr;
    const auto found = readings_->links.find(index);
    return found == readings_->links.end() ? nullptr : &found->second.counters;
}

}  // namespace hostd
