#pragma once

#include <chrono>
#include <cstdint>

namespace tn {

/// What differs from one run to the next: clocks and random numbers. Everything in the product takes them from here, so
/// that a test or a fuzzer puts its own in place and repeats exactly.
class Sources {
  public:
    virtual ~Sources() = default;
    [[nodiscard]] virtual uint64_t bootNanoseconds();  ///< since the machine started, suspended time included
    [[nodiscard]] virtual int64_t wallSeconds();       ///< since the epoch
    [[nodiscard]] virtual uint32_t random32();         ///< unpredictable (getrandom)
};

[[nodiscard]] Sources& sources();
/// Puts other sources in place; nullptr brings the machine's own back. They must outlive their use.
void setSources(Sources* replacement);

[[nodiscard]] uint32_t getUptime();   ///< seconds since the machine started
[[nodiscard]] uint32_t getJiffies();  ///< hundredths of a second since the machine started; wraps after 497 days
[[nodiscard]] std::chrono::milliseconds sinceBoot();  ///< time since the machine started, suspended time included
[[nodiscard]] uint64_t getMilliseconds();             ///< sinceBoot(), as a number

}  // namespace tn
