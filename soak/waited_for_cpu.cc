#include "soak/waited_for_cpu.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace soak {

WaitedForCpu::WaitedForCpu(const std::vector<int>& pids) {
    std::vector<int> all = pids;
    all.push_back(getpid());
    for (const int pid : all) {
        const std::string file = "/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) + "/schedstat";
        files_.push_back(open(file.c_str(), O_RDONLY | O_CLOEXEC));
        if (files_.back() < 0) throw std::runtime_error(file + " can't be opened");
    }
}

WaitedForCpu::~WaitedForCpu() {
    for (const int file : files_) close(file);
}

std::chrono::nanoseconds WaitedForCpu::read() const {
    unsigned long long sum = 0;
    for (const int file : files_) {
        std::array<char, 64> text{};
        unsigned long long waited = 0;
        if (pread(file, text.data(), text.size() - 1, 0) <= 0 || std::sscanf(text.data(), "%*u %llu", &waited) != 1)
            throw std::runtime_error("the server has ended");
        sum += waited;
    }
    return std::chrono::nanoseconds(sum);
}

}  // namespace soak
