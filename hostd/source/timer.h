#pragma once

#include <chrono>
#include <functional>

#include "tn/sources.h"
#include "tn/thin_runner.h"

namespace hostd {

/// A one-shot timer of the process's loop, stopped when this object is destroyed. Without a loop, as in most tests, it
/// never fires. For the loop's thread only.
class Timer {
  public:
    Timer() = default;
    ~Timer() { stop(); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Calls once after the delay, replacing an earlier start. The callback may start the timer again.
    void start(std::chrono::milliseconds delay, std::function<void()> callback);
    /// Nothing happens when it isn't running.
    void stop();
    /// True from start() until the callback is called.
    [[nodiscard]] bool isRunning() const { return id_ != 0; }

  private:
    tn::ThinRunner::TimerId id_ = 0;
};

}  // namespace hostd
