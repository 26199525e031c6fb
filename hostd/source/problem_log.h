#pragma once

#include <string>
#include <utility>

#include "hostd/log.h"

namespace hostd {

/// Logs a source's problem once when it appears or changes, and its end.
class ProblemLog {
  public:
    /// @param what  the source: "sensors"
    explicit ProblemLog(std::string what) : what_(std::move(what)) {}

    /// Writes one line if the problem differs from the one reported last.
    /// @param problem  of the last reading; empty when it had none
    void report(const std::string& problem) {
        if (problem == last_) return;
        last_ = problem;
        hostLog << what_ << ": " << (problem.empty() ? "recovered" : problem);
    }

  private:
    std::string what_;
    std::string last_;
};

}  // namespace hostd
