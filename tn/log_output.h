#pragma once

#include <syslog.h>

#include <cstdint>
#include <mutex>
#include <string>

namespace tn {

/// Where lines go that may have no room for them: writing never waits. A line that finds no room is lost, and a line
/// with the number of lost ones precedes the next one that is written. May be used by any thread.
class LogOutput {
  public:
    LogOutput(const LogOutput&) = delete;
    LogOutput& operator=(const LogOutput&) = delete;

    /// @param text      without a line feed, escaped already
    /// @param severity  of syslog(3); for outputs that show one
    void writeLine(const std::string& text, int severity = LOG_INFO);

  protected:
    LogOutput() = default;
    ~LogOutput() = default;
    /// Writes one line, or as much of it as there is room for: the rest precedes the next line. Called with the mutex
    /// held. False when nothing of it is written.
    virtual bool put(const std::string& text, int severity) = 0;
    std::mutex mutex_;

  private:
    uint64_t lost_ = 0;
};

/// The outputs of this process. They are never destroyed: objects that log in their destructors may outlive main().
[[nodiscard]] LogOutput& standardOutput();
[[nodiscard]] LogOutput& standardError();
[[nodiscard]] LogOutput& systemLog();
/// @param path  the datagram socket that the system log's daemon reads; at most 107 octets, the rest is cut off
void setSystemLogPath(const std::string& path);

}  // namespace tn
