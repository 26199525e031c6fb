#pragma once

#include <cstdint>
#include <vector>

namespace bench {

/// CPU time of all threads of these processes, user and system, in nanoseconds (first field of /proc/PID/schedstat).
[[nodiscard]] uint64_t cpuTime(const std::vector<int>& pids);

}  // namespace bench
