#pragma once

#include "tn/sources.h"

namespace hostd {

/// Clocks that the test sets; in place as long as this lives.
class HandClock : public tn::Sources {
  public:
    HandClock() { tn::setSources(this); }
    ~HandClock() override { tn::setSources(nullptr); }
    uint64_t bootNanoseconds() override { return milliseconds * 1'000'000; }
    int64_t wallSeconds() override { return wall; }

    uint64_t milliseconds = 1'000'000;  ///< since the machine started
    int64_t wall = 1'700'000'000;
};

}  // namespace hostd
