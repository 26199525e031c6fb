#pragma once

#include <stdexcept>
#include <string>

namespace tnctl {

enum ExitCode : int {
    kDone = 0,
    kFailed = 1,  ///< an error reply, nothing to do, or an answer other than yes
    kUsage = 2,   ///< a wrong word, or a question without a terminal to ask it at
};

/// Ends a command with one line on standard error, the text without "tnctl: ", and this exit code. Thrown anywhere
/// below run(), which catches it.
class Failure : public std::runtime_error {
  public:
    Failure(ExitCode exitCode, const std::string& text) : std::runtime_error(text), code(exitCode) {}
    ExitCode code;
};

}  // namespace tnctl
