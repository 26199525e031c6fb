#include "bench/server_cost.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace bench {

uint64_t cpuTime(const std::vector<int>& pids) {
    // The kernel updates the figure of a running thread when it sleeps or at the next tick.
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    uint64_t sum = 0;
    for (const int pid : pids) {
        for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
            uint64_t nanoseconds = 0;
            std::ifstream(task.path() / "schedstat") >> nanoseconds;
            sum += nanoseconds;
        }
    }
    return sum;
}

}  // namespace bench
