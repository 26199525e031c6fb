#include "hostd/supervisor/child_process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>

#include "tn/bus_socket.h"

namespace hostd {

namespace {

constexpr int kListenFd = 3;        // SD_LISTEN_FDS_START
constexpr int kFirstReportFd = 10;  // any number above kListenFd
constexpr std::string_view kListenPid = "LISTEN_PID=";
constexpr size_t kPidDigits = 10;  // maximum

/// Everything that the child needs, prepared before the fork. The child must not allocate between fork and exec, since
/// another thread may have held the allocator's lock at the time of the fork.
struct Image {
    std::vector<std::string> words;
    std::vector<std::string> variables;  ///< the last one is LISTEN_PID=; the child fills in its digits
    std::vector<char*> argv;
    std::vector<char*> envp;
    int listener;
    int report;  ///< write end of a pipe: the child writes errno if exec fails; exec closes it
    pid_t parent;
};

bool isForTheChild(std::string_view variable) {
    constexpr std::array kOurs = {
        "LISTEN_PID=", "LISTEN_FDS=", "LISTEN_FDNAMES=", "NOTIFY_SOCKET=", "WATCHDOG_PID=", "WATCHDOG_USEC="};
    return std::none_of(kOurs.begin(), kOurs.end(), [&](std::string_view name) { return variable.starts_with(name); });
}

std::vector<char*> pointers(std::vector<std::string>& words) {
    std::vector<char*> all;
    for (std::string& word : words) all.push_back(word.data());
    all.push_back(nullptr);
    return all;
}

Image makeImage(const std::vector<std::string>& command, int listener, const std::string& listenerName, int report) {
    Image image{command, {}, {}, {}, listener, report, ::getpid()};
    for (char** variable = environ; *variable != nullptr; ++variable)
        if (isForTheChild(*variable)) image.variables.emplace_back(*variable);
    image.variables.push_back("LISTEN_FDS=1");
    image.variables.push_back("LISTEN_FDNAMES=" + listenerName);
    image.variables.push_back(tn::kLockedNumber + ("=" + listenerName));
    image.variables.push_back(std::string(kListenPid) + std::string(kPidDigits, '0'));
    image.argv = pointers(image.words);
    image.envp = pointers(image.variables);
    return image;
}

/// Writes a pid as decimal text, zero-terminated. It must not have leading zeros: sd_listen_fds(3) would read it as an
/// octal number. Doesn't allocate.
/// @param digits  room for kPidDigits + 1 octets
void writePid(char* digits, pid_t pid) {
    size_t count = 0;
    for (pid_t rest = pid; rest > 0; rest /= 10) ++count;
    digits[count] = '\0';
    for (; count-- > 0; pid /= 10) digits[count] = static_cast<char>('0' + pid % 10);
}

/// Runs in the child: executes the program, or reports why that failed and exits.
[[noreturn]] void becomeProgram(Image& image) {
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);  // the parent blocks signals, to read them from a descriptor
    ::signal(SIGPIPE, SIG_DFL);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != image.parent) ::_exit(0);  // the parent exited before PR_SET_PDEATHSIG took effect

    if (image.listener == kListenFd)
        ::fcntl(kListenFd, F_SETFD, 0);
    else
        ::dup2(image.listener, kListenFd);
    ::close_range(kListenFd + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    writePid(image.variables.back().data() + kListenPid.size(), ::getpid());
    ::execve(image.argv.front(), image.argv.data(), image.envp.data());

    const int reason = errno;
    [[maybe_unused]] const ssize_t n = ::write(image.report, &reason, sizeof reason);
    ::_exit(127);
}

/// Creates a close-on-exec pipe whose write end isn't kListenFd, which the child overwrites. False, errno set, on
/// failure.
bool makeReportPipe(std::array<int, 2>& ends) {
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) return false;
    ends = {pipe[0], ::fcntl(pipe[1], F_DUPFD_CLOEXEC, kFirstReportFd)};
    ::close(pipe[1]);
    if (ends[1] >= 0) return true;
    ::close(ends[0]);
    return false;
}

}  // namespace

pid_t startChild(const std::vector<std::string>& command, int listener, const std::string& listenerName) {
    std::array<int, 2> report{};
    if (!makeReportPipe(report)) return -1;
    Image image = makeImage(command, listener, listenerName, report[1]);
    const pid_t child = ::fork();
    if (child == 0) becomeProgram(image);
    const int forkFailure = errno;
    ::close(report[1]);

    int reason = child < 0 ? forkFailure : 0;
    ssize_t n = 0;
    if (child > 0) do
            n = ::read(report[0], &reason, sizeof reason);
        while (n < 0 && errno == EINTR);
    ::close(report[0]);
    if (reason == 0) return child;
    if (child > 0) ::waitpid(child, nullptr, 0);
    errno = reason;
    return -1;
}

}  // namespace hostd
