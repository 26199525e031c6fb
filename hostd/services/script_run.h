#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace hostd {

/// One run of a script: in a session of its own, standard input empty, what it writes logged line by line under its
/// name. It outlives this object and this process; only its output is then lost. Needs the process's loop.
class ScriptRun {
  public:
    static constexpr size_t kMostLine = 1000;  ///< octets; what a longer line has beyond is left out
    static constexpr size_t kMostLines = 200;  ///< of one run; how many more there were is told at its end

    explicit ScriptRun(std::string name) : name_(std::move(name)) {}
    ~ScriptRun();
    ScriptRun(const ScriptRun&) = delete;
    ScriptRun& operator=(const ScriptRun&) = delete;

    /// Starts the program at this path, without a shell. False, errno set, when that fails.
    [[nodiscard]] bool start(const std::string& path);
    /// The child has ended and its output is logged.
    [[nodiscard]] bool hasEnded() const { return child_ == 0; }

  private:
    bool watch();
    void read();
    void take(std::string_view output);
    void logLine();
    void ended();
    void close();

    std::string name_;
    std::string line_;
    size_t lines_ = 0;
    pid_t child_ = 0;
    int childFd_ = -1;  ///< pidfd_open(2): readable once the child has ended
    int output_ = -1;
};

}  // namespace hostd
