#pragma once

#include <chrono>
#include <vector>

namespace soak {

/// The time that servers and this process have waited for a processor while they could run. Client and server take
/// turns in an exchange, so this is what other processes have added to its latency.
class WaitedForCpu {
  public:
    /// Throws std::runtime_error if a process doesn't exist.
    /// @param pids  of the servers; their main threads count
    explicit WaitedForCpu(const std::vector<int>& pids);
    ~WaitedForCpu();
    WaitedForCpu(const WaitedForCpu&) = delete;
    WaitedForCpu& operator=(const WaitedForCpu&) = delete;

    /// Since the processes started. Throws std::runtime_error if one has ended.
    [[nodiscard]] std::chrono::nanoseconds read() const;

  private:
    std::vector<int> files_;
};

}  // namespace soak
