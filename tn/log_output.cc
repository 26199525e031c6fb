#include "tn/log_output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "tn/bus_socket.h"
#include "tn/sources.h"

namespace tn {

namespace {

/// Writes as much as there is room for. @return number of octets written, or -1
ssize_t writeWithoutWaiting(int fd, std::string_view octets) {
    const ssize_t sent = send(fd, octets.data(), octets.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent >= 0 || errno != ENOTSOCK) return sent;
    // The descriptor is shared with our parent process, so O_NONBLOCK isn't ours to set: a pipe or terminal is opened
    // once more. That is done for each line, since a descriptor kept open would hide the end of the output from its
    // reader after a dup2.
    struct stat status = {};
    if (fstat(fd, &status) == 0 && (S_ISFIFO(status.st_mode) || isatty(fd) != 0)) {
        const std::string path = "/proc/self/fd/" + std::to_string(fd);
        const Descriptor own(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (own) return write(own.get(), octets.data(), octets.size());
    }
    // Files, and what another user opened for us. A pipe that is writable has room for PIPE_BUF octets.
    pollfd output = {.fd = fd, .events = POLLOUT, .revents = 0};
    if (poll(&output, 1, 0) != 1) return -1;
    return write(fd, octets.data(), std::min<size_t>(octets.size(), PIPE_BUF));
}

/// Whether the journal reads this descriptor (systemd.exec(5), JOURNAL_STREAM).
bool isJournal(int fd) {
    const char* const journal = std::getenv("JOURNAL_STREAM");
    struct stat status = {};
    return journal != nullptr && fstat(fd, &status) == 0 &&
           std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == journal;
}

/// Standard output or standard error.
class StandardOutput final : public LogOutput {
  public:
    explicit StandardOutput(int fd) : fd_(fd) {}

  private:
    /// Writes the whole line with one system call if there is room, so that lines of several processes don't mix.
    bool put(const std::string& text, int severity) override {
        if (!writeRest()) return false;
        rest_ = (isJournal(fd_) ? "<" + std::to_string(severity) + ">" : "") + text + "\n";  // sd-daemon(3)
        const size_t whole = rest_.size();
        const bool begun = writeRest() || rest_.size() < whole;
        if (!begun) rest_.clear();
        return begun;
    }

    bool writeRest() {
        while (!rest_.empty()) {
            const ssize_t written = writeWithoutWaiting(fd_, rest_);
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) return false;
            rest_.erase(0, static_cast<size_t>(written));
        }
        return true;
    }

    int fd_;
    std::string rest_;  ///< of a line whose beginning has been written
};

/// The system log. Not syslog(3), which waits for a reader that is stuck.
class SystemLog final : public LogOutput {
  public:
    /// @param path  the socket that the system log's daemon reads
    void setPath(const std::string& path) {
        const std::lock_guard lock(mutex_);
        address_ = {.sun_family = AF_UNIX, .sun_path = {}};
        path.copy(address_.sun_path, sizeof address_.sun_path - 1);
    }

  private:
    /// Sends one datagram in the form of syslog(3) (RFC 3164, 4.1, without the host). Each line has a new socket, so
    /// that it reaches a restarted reader.
    bool put(const std::string& text, int severity) override {
        const time_t now = sources().wallSeconds();
        tm local = {};
        localtime_r(&now, &local);
        char stamp[32];
        const size_t length = std::strftime(stamp, sizeof stamp, "%b %e %H:%M:%S ", &local);
        const std::string line = "<" + std::to_string(LOG_DAEMON | severity) + ">" + std::string(stamp, length) +
                                 program_invocation_short_name + "[" + std::to_string(getpid()) + "]: " + text;
        const Descriptor own(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        return sendto(own.get(), line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                      reinterpret_cast<const sockaddr*>(&address_), sizeof address_) >= 0;
    }

    sockaddr_un address_ = {.sun_family = AF_UNIX, .sun_path = "/dev/log"};
};

SystemLog& theSystemLog() {
    static auto& one = *new SystemLog;
    return one;
}

}  // namespace

void LogOutput::writeLine(const std::string& text, int severity) {
    const std::lock_guard lock(mutex_);
    if (lost_ > 0 &&
        put(std::to_string(lost_) + " lines lost here: the reader was too slow or not running", LOG_INFO)) {
        lost_ = 0;
    }
    if (lost_ > 0 || !put(text, severity)) ++lost_;
}

LogOutput& standardOutput() {
    static auto& one = *new StandardOutput(STDOUT_FILENO);
    return one;
}

LogOutput& standardError() {
    static auto& one = *new StandardOutput(STDERR_FILENO);
    return one;
}

LogOutput& systemLog() { return theSystemLog(); }

void setSystemLogPath(const std::string& path) { theSystemLog().setPath(path); }

}  // namespace tn
