#pragma once

#include <cstdint>
#include <map>
#include <string_view>

namespace hostd {

/// How busy each processor is: percent of the time between the last two readings of /proc/stat.
class ProcessorLoads {
  public:
    /// Takes the text of /proc/stat (proc(5)). Processors that it doesn't list are gone; one whose counters haven't
    /// moved, or have gone back (the kernel's idle time may), keeps its load.
    void update(std::string_view stat);

    /// Percent, by row id: the kernel's number of the processor + 1, since an SNMP index begins at 1.
    [[nodiscard]] const std::map<uint32_t, uint32_t>& percent() const { return percent_; }

  private:
    struct Times {
        uint64_t busy = 0;  ///< clock ticks
        uint64_t total = 0;
    };
    std::map<uint32_t, Times> times_;
    std::map<uint32_t, uint32_t> percent_;
};

}  // namespace hostd
