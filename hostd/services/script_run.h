#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace hostd {

/// One run of a script: in a separate session, with empty standard input. Its output is logged line by line under its
/// name. The script outlives this object and this process; only its output is then lost. Needs the process's loop.
class ScriptRun {
  public:
    static constexpr size_t kMaxLine = 1000;  ///< octets; the rest of a longer line is omitted
    static constexpr size_t kMaxLines = 200;  ///< of one run; the number of further lines is logged at its end

    /// @param name  for the log
    explicit ScriptRun(std::string name) : name_(std::move(name)) {}
    ~ScriptRun();
    ScriptRun(const ScriptRun&) = delete;
    ScriptRun& operator=(const ScriptRun&) = delete;

    /// Starts the program at this path, without a shell. Called once. False, errno set, when it can't be started; it
    /// then counts as ended.
    [[nodiscard]] bool start(const std::string& path);
    /// True once the child has ended and its output is logged.
    [[nodiscard]] bool hasEnded() const { return child_ == 0; }

  private:
    /// Reads the output and waits for the end from the loop. False when the kernel refuses.
    bool watch();
    void read();
    void logOutput(std::string_view output);
    void logLine();
    void ended();
    void close();

    std::string name_;
    std::string line_;
    size_t lines_ = 0;
    pid_t child_ = 0;
    int childFd_ = -1;  ///< pidfd_open(2): readable once the child has ended
    int output_ = -1;   ///< our end of the pipe
};

}  // namespace hostd
