#pragma once

#include <chrono>
#include <functional>

#include "tn/thin_runner.h"

namespace tn {

/// Ends the loop of a process that has been idle for some time. Off until setup().
class IdleExit {
  public:
    /// Queried at the end of the idle time.
    struct Conditions {
        std::function<bool()> canLeave;     ///< false: stay until the next touch()
        std::function<bool()> hasRequests;  ///< true: requests have arrived, so the idle time starts again
    };

    /// @param runner  gets shutdown(); must outlive this object
    IdleExit(ThinRunner& runner, Conditions conditions) : runner_(runner), conditions_(std::move(conditions)) {}
    ~IdleExit() { runner_.removeTimer(timer_); }
    IdleExit(const IdleExit&) = delete;
    IdleExit& operator=(const IdleExit&) = delete;

    /// @param idleTime  from the last touch() to the exit; 0 switches off
    void setup(std::chrono::milliseconds idleTime);
    /// Restarts the idle time. To be called when the process is used, and when anything changes that canLeave depends
    /// on: no timer runs after canLeave has returned false.
    void touch();

  private:
    /// Starts the timer.
    void arm(std::chrono::milliseconds delay);
    void tryLeave();

    ThinRunner& runner_;
    Conditions conditions_;
    std::chrono::milliseconds idleTime_{};  ///< 0: off
    std::chrono::milliseconds lastUse_{};   ///< the last touch(), as sinceBoot
    ThinRunner::TimerId timer_ = 0;
};

}  // namespace tn
