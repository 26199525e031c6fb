#pragma once

#include <csignal>

namespace tn {

/// Turns SIGTERM and SIGINT into a wake-up of the loop, and restores the former handlers when it is destroyed. At most
/// one exists in a process.
class EndSignals {
  public:
    /// @param wakeUp  an eventfd(2) of the caller's; each signal makes it readable
    explicit EndSignals(int wakeUp);
    ~EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    /// True if a signal has arrived since the last call.
    static bool consume();

  private:
    struct sigaction oldTerm_ = {};
    struct sigaction oldInt_ = {};
};

}  // namespace tn
