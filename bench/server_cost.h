#pragma once

#include <cstdint>
#include <vector>

namespace bench {

/// Nanoseconds on a processor, user and system, of all threads of these processes (the first figure of schedstat).
[[nodiscard]] uint64_t cpuTime(const std::vector<int>& pids);

}  // namespace bench
