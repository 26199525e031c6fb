#pragma once

#include <string>
#include <utility>

#include "hostd/log.h"

namespace hostd {

/// Logs the problem of a source that is read repeatedly: one line when it appears, changes or ends. So a problem that
/// lasts doesn't fill the log. For one thread at a time.
class ProblemLog {
  public:
    /// @param what  the source: "sensors"
    explicit ProblemLog(std::string what) : what_(std::move(what)) {}

    /// Writes one line if the problem differs from that of the previous call: the problem itself, or "recovered". A
    /// source without a problem logs nothing on the first call.
    /// @param problem  of the latest reading, as a line for people; empty when it had none
    void report(const std::string& problem) {
        if (problem == last_) return;
        last_ = problem;
        hostLog << what_ << ": " << (problem.empty() ? "recovered" : problem);
    }

  private:
    std::string what_;
    std::string last_;  ///< problem of the previous call
};

}  // namespace hostd
