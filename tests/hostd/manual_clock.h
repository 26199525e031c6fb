#pragma once

#include <chrono>

#include "tn/sources.h"

namespace hostd {

using namespace std::chrono_literals;

/// Clocks that the test sets. They replace the machine's for the object's lifetime.
class ManualClock : public tn::Sources {
  public:
    ManualClock() { tn::setSources(this); }
    ~ManualClock() override { tn::setSources(nullptr); }
    uint64_t bootNanoseconds() override { return static_cast<uint64_t>(std::chrono::nanoseconds(time).count()); }
    uint64_t awakeNanoseconds() override {
        return static_cast<uint64_t>(std::chrono::nanoseconds(time - suspended).count());
    }
    int64_t wallSeconds() override { return wall; }

    std::chrono::milliseconds time{1'000'000};  ///< since the machine started
    std::chrono::milliseconds suspended{0};     ///< part of it
    int64_t wall = 1'700'000'000;               ///< seconds since the epoch
};

}  // namespace hostd
