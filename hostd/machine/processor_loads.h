#pragma once

#include <cstdint>
#include <map>
#include <string_view>
#include <vector>

namespace hostd {

/// Load of each processor: percent busy over the last minute (RFC 2790, hrProcessorLoad). It keeps past readings of
/// /proc/stat, so the load doesn't depend on how often it is queried, or by how many clients.
///
/// The interval measured ends now and begins at the latest reading that is kWindow to kOldest old. Without one it
/// begins at the oldest reading that is kSpacing to kWindow old; without that, at the last one before a pause, or at
/// the machine's start.
class ProcessorLoads {
  public:
    static constexpr uint64_t kWindow = 60'000;  ///< ms
    static constexpr uint64_t kOldest = 2 * kWindow;
    static constexpr uint64_t kSpacing = 5'000;  ///< ms, minimum between two readings that are kept

    /// Applies the text of /proc/stat (proc(5)), read at `now` (tn::getMilliseconds). Processors that it doesn't list
    /// are dropped. A processor keeps its load if its counters haven't moved or went back (the kernel's idle time may).
    void update(uint64_t now, std::string_view stat);

    /// Percent, by row id: the kernel's number of the processor + 1, since an SNMP index begins at 1.
    [[nodiscard]] const std::map<uint32_t, uint32_t>& percent() const { return percent_; }

  private:
    struct Times {
        uint32_t id = 0;
        uint64_t busy = 0;  ///< clock ticks
        uint64_t total = 0;
    };
    struct Reading {
        uint64_t at;               ///< ms
        std::vector<Times> times;  ///< by id
    };
    static std::vector<Times> parse(std::string_view stat);
    [[nodiscard]] Times startOfInterval(uint64_t now, uint32_t id) const;
    void forget(uint64_t now);

    std::vector<Reading> readings_;  ///< oldest first; at most the first is older than kWindow
    std::map<uint32_t, uint32_t> percent_;
};

}  // namespace hostd
