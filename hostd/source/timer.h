#pragma once

#include <chrono>
#include <functional>

#include "tn/sources.h"
#include "tn/thin_runner.h"

namespace hostd {

/// A one-shot timer of the process's loop (tn::getLooper). Destroying this object stops it. In a process without a
/// loop, as in most tests, it never fires. For the loop's thread only.
class Timer {
  public:
    Timer() = default;
    ~Timer() { stop(); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Calls `callback` once, after the delay. If the timer is running, it is stopped first and its callback isn't
    /// called. The callback may start the timer again.
    /// @param delay     0 or less for a call in the loop's next round
    /// @param callback  must not destroy this object
    void start(std::chrono::milliseconds delay, std::function<void()> callback);
    /// Cancels the pending call. Does nothing if the timer isn't running.
    void stop();
    /// True from start() until stop(), or until the callback is called. Always false without a loop.
    [[nodiscard]] bool isRunning() const { return id_ != 0; }

  private:
    tn::ThinRunner::TimerId id_ = 0;  ///< 0 while it isn't running
};

}  // namespace hostd
