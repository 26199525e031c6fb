// A library for LD_PRELOAD that shifts the clocks of a program. The file in SHIFTED_CLOCK has two 64-bit numbers in the
// machine's byte order, in seconds: what is added to the wall clock, and what is added to the time since boot. They can
// be changed at any time. A suspended machine adds to both; its monotonic clock stands still, and so does the kernel's
// timer. libfaketime can't shift the time since boot by itself.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

struct Shifts {
    std::atomic<int64_t> wall, boot;
};

const Shifts* shifts() {
    static const Shifts* const mapped = [] {
        const char* name = std::getenv("SHIFTED_CLOCK");
        const int file = name == nullptr ? -1 : open(name, O_RDONLY | O_CLOEXEC);
        void* const memory = file < 0 ? MAP_FAILED : mmap(nullptr, sizeof(Shifts), PROT_READ, MAP_SHARED, file, 0);
        if (memory == MAP_FAILED) std::abort();  // an unshifted clock would prove nothing
        close(file);
        return static_cast<const Shifts*>(memory);
    }();
    return mapped;
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    if (result != 0) return result;
    if (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE) now->tv_sec += shifts()->wall;
    if (clock == CLOCK_BOOTTIME) now->tv_sec += shifts()->boot;
    return 0;
}

time_t time(time_t* out) noexcept {
    timespec now{};
    (void)clock_gettime(CLOCK_REALTIME, &now);
    if (out != nullptr) *out = now.tv_sec;
    return now.tv_sec;
}

int gettimeofday(timeval* out, void*) noexcept {
    timespec now{};
    (void)clock_gettime(CLOCK_REALTIME, &now);
    *out = {now.tv_sec, now.tv_nsec / 1000};
    return 0;
}

}  // extern "C"
