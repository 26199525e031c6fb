#include "tn/sources.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace tn {

namespace {

constexpr uint64_t kNanosecondsPerSecond = 1'000'000'000;

/// Random numbers, fetched from the kernel 64 at a time: one system call for each would cost more than a typical
/// request.
class Pool {
  public:
    uint32_t take() {
        if (used_ == numbers_.size()) fill();
        const uint32_t number = numbers_[used_];
        numbers_[used_++] = 0;  // what was given out doesn't lie around in memory
        return number;
    }

  private:
    void fill() {
        // Up to 256 octets come whole once the kernel's generator is seeded; before, the call can be interrupted.
        while (getrandom(numbers_.data(), sizeof numbers_, 0) != static_cast<ssize_t>(sizeof numbers_)) {
            if (errno == EINTR) continue;
            std::perror("getrandom");
            std::abort();  // keys must never be made from anything else
        }
        used_ = 0;
    }

    std::array<uint32_t, 64> numbers_{};
    size_t used_ = numbers_.size();
};

uint64_t nanoseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<uint64_t>(now.tv_sec) * kNanosecondsPerSecond + static_cast<uint64_t>(now.tv_nsec);
}

std::chrono::milliseconds milliseconds(uint64_t nanoseconds) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::nanoseconds(static_cast<int64_t>(nanoseconds)));
}

Sources machine;
Sources* inUse = &machine;

}  // namespace

uint64_t Sources::bootNanoseconds() { return nanoseconds(CLOCK_BOOTTIME); }

uint64_t Sources::awakeNanoseconds() { return nanoseconds(CLOCK_MONOTONIC); }

int64_t Sources::wallSeconds() { return std::time(nullptr); }

uint32_t Sources::random32() {
    static thread_local Pool pool;
    return pool.take();
}

Sources& sources() { return *inUse; }

void setSources(Sources* replacement) { inUse = replacement == nullptr ? &machine : replacement; }

uint32_t getUptime() { return static_cast<uint32_t>(sources().bootNanoseconds() / kNanosecondsPerSecond); }

uint32_t getJiffies() { return static_cast<uint32_t>(sources().bootNanoseconds() / (kNanosecondsPerSecond / 100)); }

std::chrono::milliseconds sinceBoot() { return milliseconds(sources().bootNanoseconds()); }

std::chrono::milliseconds awakeSinceBoot() { return milliseconds(sources().awakeNanoseconds()); }

uint64_t getMilliseconds() { return static_cast<uint64_t>(sinceBoot().count()); }

}  // namespace tn
