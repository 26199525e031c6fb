#pragma once

#include <cstdint>
#include <map>
#include <string_view>
#include <vector>

namespace hostd {

/// The load of each processor: percent busy over the last minute (RFC 2790, hrProcessorLoad). Past readings of
/// /proc/stat are retained, so that the load doesn't depend on how many clients query it, or how often.
///
/// The load is measured from a past reading to the current one. The past reading is the first of these that exists:
/// - the latest one that is kWindow to kOldest old,
/// - the oldest one that is kSpacing to kWindow old,
/// - the latest one that is older than kOldest,
/// - the machine's start.
class ProcessorLoads {
  public:
    static constexpr uint64_t kWindow = 60'000;       ///< ms
    static constexpr uint64_t kOldest = 2 * kWindow;  ///< ms
    static constexpr uint64_t kSpacing = 5'000;       ///< ms, minimum between two readings that are retained

    /// Computes the loads from the text of /proc/stat (proc(5)). Processors that it doesn't list are dropped, and lines
    /// that can't be parsed are skipped. A processor whose counters haven't increased keeps its load: the kernel's idle
    /// time may even decrease.
    /// @param now  when the text was read, as of tn::getMilliseconds; never decreases
    void update(uint64_t now, std::string_view stat);

    /// Percent, 0 to 100, by row id: the kernel's number of the processor + 1, since an SNMP index begins at 1.
    [[nodiscard]] const std::map<uint32_t, uint32_t>& percent() const { return percent_; }

  private:
    /// The counters of one processor since the machine's start.
    struct Times {
        uint32_t id = 0;     ///< row id
        uint64_t busy = 0;   ///< clock ticks
        uint64_t total = 0;  ///< clock ticks
    };
    struct Reading {
        uint64_t at;               ///< when it was read: ms, as of tn::getMilliseconds
        std::vector<Times> times;  ///< ascending by id
    };
    static std::vector<Times> parse(std::string_view stat);
    /// The past counters from which a processor's load is measured; zeros for the machine's start.
    [[nodiscard]] Times startOfInterval(uint64_t now, uint32_t id) const;
    /// Drops the readings that aren't needed any more: those before the latest one that is at least kWindow old.
    void forget(uint64_t now);

    std::vector<Reading> readings_;  ///< oldest first; at most the first is older than kWindow
    std::map<uint32_t, uint32_t> percent_;
};

}  // namespace hostd
