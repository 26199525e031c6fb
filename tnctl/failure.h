#pragma once

#include <stdexcept>
#include <string>

namespace tnctl {

/// Exit codes of tnctl.
enum ExitCode : int {
    kDone = 0,
    kFailed = 1,  ///< the command failed: an error reply, an unknown name, a denied confirmation and so on
    kUsage = 2,   ///< a usage error, or a confirmation that needs a terminal or --yes
};

/// Ends a command with an exit code and one line on standard error. Thrown by commands, caught by run(), which adds
/// "tnctl: " to the text.
class Failure : public std::runtime_error {
  public:
    Failure(ExitCode exitCode, const std::string& text) : std::runtime_error(text), code(exitCode) {}
    ExitCode code;
};

}  // namespace tnctl
