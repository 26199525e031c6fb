#pragma once

#include <chrono>
#include <cstdint>

namespace tn {

/// What differs from one run to the next: clocks and random numbers. The whole product takes them from here, so that a
/// test or a fuzzer puts its own in place and repeats exactly. May be called by any thread.
class Sources {
  public:
    virtual ~Sources() = default;
    /// Since the machine started, suspended time included (CLOCK_BOOTTIME).
    [[nodiscard]] virtual uint64_t bootNanoseconds();
    /// Since the epoch. Jumps when the machine's clock is set: for dates, not for durations.
    [[nodiscard]] virtual int64_t wallSeconds();
    /// Unpredictable, fit for keys (getrandom(2)). The process aborts when the kernel has none.
    [[nodiscard]] virtual uint32_t random32();
};

[[nodiscard]] Sources& sources();
/// Puts other sources in place; nullptr restores the machine's own. They stay the caller's, and must outlive their use.
void setSources(Sources* replacement);

/// Seconds since the machine started.
[[nodiscard]] uint32_t getUptime();
/// Hundredths of a second since the machine started, as SNMP's TimeTicks (RFC 2578, 7.1.8): wraps after 497 days.
[[nodiscard]] uint32_t getJiffies();
/// Time since the machine started, suspended time included: the clock of all deadlines and intervals.
[[nodiscard]] std::chrono::milliseconds sinceBoot();
/// sinceBoot(), as a number.
[[nodiscard]] uint64_t getMilliseconds();

}  // namespace tn
