#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace hostd {

/// Starts a program without a shell (posix_spawn(3)), in a session of its own (setsid(2)). Standard input is empty,
/// both outputs go to a descriptor, and no other one is inherited. The signal mask is empty, SIGPIPE has its default
/// action, and the environment is ours without the variables that the service manager means for this process only.
/// @param words   of the command line, the program's path first
/// @param output  stays the caller's
/// @return the pid, which the caller reaps; 0, errno set, when the program can't be started
[[nodiscard]] pid_t startProgram(const std::vector<std::string>& words, int output);

/// The end of a program, and what it wrote.
struct ProgramResult {
    std::string problem;  ///< why it has no exit status, for the log; else empty
    int status = -1;      ///< exit status, or 128 and the signal that ended it; -1 if there is a problem
    std::string output;   ///< of both outputs, cut at the maximum
};
/// Runs a program (startProgram) and waits until it has ended. After the time limit, it is killed with its session's
/// process group. Output of processes that it leaves in the background is lost.
/// @param most  octets of output
[[nodiscard]] ProgramResult runProgram(const std::vector<std::string>& words, std::chrono::milliseconds limit,
                                       size_t most);

}  // namespace hostd
