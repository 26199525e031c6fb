#pragma once

#include <stdexcept>
#include <string>

namespace tnctl {

enum ExitCode : int {
    kDone = 0,
    kFailed = 1,  ///< an error reply, nothing to do, or a question answered with no
    kUsage = 2,   ///< a wrong word, or a question nobody was there to answer
};

/// Ends a command with one line on standard error. Thrown anywhere below run(), caught there only.
class Failure : public std::runtime_error {
  public:
    Failure(ExitCode exitCode, const std::string& text) : std::runtime_error(text), code(exitCode) {}
    ExitCode code;
};

}  // namespace tnctl
