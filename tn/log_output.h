#pragma once

#include <syslog.h>

#include <cstdint>
#include <mutex>
#include <string>

namespace tn {

/// An output that can be full. Writing doesn't wait: a line for which there is no room is lost, and the next line that
/// is written is preceded by one with the number of lost lines. May be used by any thread.
class LogOutput {
  public:
    LogOutput(const LogOutput&) = delete;
    LogOutput& operator=(const LogOutput&) = delete;

    /// @param text      one line, already escaped, without a line feed
    /// @param severity  of syslog(3); for the system log and the journal
    void writeLine(const std::string& text, int severity = LOG_INFO);

  protected:
    LogOutput() = default;
    ~LogOutput() = default;
    /// Writes one line. If there is room only for its beginning, the rest is written before the next line. Called with
    /// the mutex held. False if nothing was written.
    virtual bool put(const std::string& text, int severity) = 0;
    std::mutex mutex_;

  private:
    uint64_t lost_ = 0;  ///< lines not reported yet
};

/// The outputs of this process. They are never destroyed, since static objects may log in their destructors.
[[nodiscard]] LogOutput& standardOutput();
[[nodiscard]] LogOutput& standardError();
[[nodiscard]] LogOutput& systemLog();
/// Sets the datagram socket of the system log's daemon. @param path  at most 107 octets; the rest is cut off
void setSystemLogPath(const std::string& path);

}  // namespace tn
