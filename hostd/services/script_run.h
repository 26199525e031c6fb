#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace hostd {

/// One run of a script, in a separate session (setsid(2)) and with empty standard input. Its standard output and
/// standard error are logged line by line under its name, and so is its end, unless it succeeds. Needs the process's
/// loop: without one, the script runs, but its output is lost. If this object or the process ends first, the script
/// continues to run and its output is lost.
class ScriptRun {
  public:
    static constexpr size_t kMaxLine = 1000;  ///< octets that are logged of a line
    static constexpr size_t kMaxLines = 200;  ///< lines that are logged of a run; further ones are counted

    /// @param name  of the script, for the log
    explicit ScriptRun(std::string name) : name_(std::move(name)) {}
    ~ScriptRun();
    ScriptRun(const ScriptRun&) = delete;
    ScriptRun& operator=(const ScriptRun&) = delete;

    /// Starts the program at this path, without a shell (posix_spawn(3)), and logs that. Call it once. False, with
    /// errno set, when the program can't be started. It then counts as ended.
    [[nodiscard]] bool start(const std::string& path);
    /// True once the child has ended and its output is logged. Also true when the run can't be followed.
    [[nodiscard]] bool hasEnded() const { return child_ == 0; }

  private:
    /// Has the loop read the output and wait for the child's end. If that isn't possible, the run counts as ended.
    /// @return true: the child runs in any case
    bool watch();
    /// Logs the output that is available.
    void read();
    void logOutput(std::string_view output);
    void logLine();
    /// Reaps the child, and logs the rest of its output and how it ended.
    void ended();
    /// Closes both descriptors and removes them from the loop.
    void close();

    std::string name_;
    std::string line_;  ///< the output's last line, so far
    size_t lines_ = 0;  ///< number of lines so far
    pid_t child_ = 0;   ///< 0 before the start and after the end
    int childFd_ = -1;  ///< pidfd_open(2) of the child: readable once it has ended
    int output_ = -1;   ///< the pipe's end that the output is read from
};

}  // namespace hostd
