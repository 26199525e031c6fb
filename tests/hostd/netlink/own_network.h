#pragma once

#include <sched.h>

#include <functional>
#include <thread>

namespace hostd {

/// Runs `test` on a thread with a separate network namespace. False, without running it, if that isn't possible.
inline bool inOwnNetwork(const std::function<void()>& test) {
    bool isMade = false;
    std::thread([&] {
        isMade = ::unshare(CLONE_NEWNET) == 0;
        if (isMade) test();
    }).join();
    return isMade;
}

}  // namespace hostd
