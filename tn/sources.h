#pragma once

#include <chrono>
#include <cstdint>

namespace tn {

/// Clocks and random numbers, which differ from one run to the next. All code uses these, so that a test or fuzzer can
/// replace them and repeat a run exactly. May be called by any thread.
class Sources {
  public:
    virtual ~Sources() = default;
    /// Time since the machine started, suspended time included (CLOCK_BOOTTIME).
    [[nodiscard]] virtual uint64_t bootNanoseconds();
    /// Seconds since the epoch. Jumps when the machine's clock is set: for dates, not for durations.
    [[nodiscard]] virtual int64_t wallSeconds();
    /// An unpredictable number, fit for keys (getrandom(2)). If the kernel refuses, the process aborts.
    [[nodiscard]] virtual uint32_t random32();
    /// bootNanoseconds() without suspended time (CLOCK_MONOTONIC).
    [[nodiscard]] virtual uint64_t awakeNanoseconds();
};

[[nodiscard]] Sources& sources();
/// Replaces the sources; nullptr restores those of the machine. The caller owns the replacement, which must outlive its
/// use.
void setSources(Sources* replacement);

/// Seconds since the machine started.
[[nodiscard]] uint32_t getUptime();
/// Hundredths of a second since the machine started, as TimeTicks of SNMP (RFC 2578, 7.1.8). Wraps after 497 days.
[[nodiscard]] uint32_t getJiffies();
/// Time since the machine started, suspended time included: the clock of all deadlines and intervals.
[[nodiscard]] std::chrono::milliseconds sinceBoot();
/// Time since the machine started, without suspended time: for rates, since nothing is counted during a suspend.
[[nodiscard]] std::chrono::milliseconds awakeSinceBoot();
/// sinceBoot() as a number of milliseconds.
[[nodiscard]] uint64_t getMilliseconds();

}  // namespace tn
