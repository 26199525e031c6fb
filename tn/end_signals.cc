#include "tn/end_signals.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <utility>

namespace tn {

namespace {

// What a signal handler may touch. A handler rather than a blocked signal read by the loop: it works whichever thread
// the kernel picks, whatever was started before run(), and children don't inherit a blocked signal.
std::atomic<int> wakeUpFd{-1};
volatile std::sig_atomic_t arrived = 0;

void onEndSignal(int) {
    const int saved = errno;
    arrived = 1;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeUpFd, &one, sizeof one);
    errno = saved;
}

}  // namespace

EndSignals::EndSignals(int wakeUp) {
    wakeUpFd = wakeUp;
    struct sigaction action = {};
    action.sa_handler = onEndSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, &oldTerm_);
    sigaction(SIGINT, &action, &oldInt_);
}

EndSignals::~EndSignals() {
    sigaction(SIGTERM, &oldTerm_, nullptr);
    sigaction(SIGINT, &oldInt_, nullptr);
    wakeUpFd = -1;
}

bool EndSignals::consume() {
    const bool has = arrived != 0;
    if (has) arrived = 0;
    return has;
}

}  // namespace tn
