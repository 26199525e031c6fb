#include "hostd/services/program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>

namespace hostd {

namespace {

/// Our environment without the variables of the service manager, which are meant for this process only.
std::vector<char*> childEnvironment() {
    constexpr std::array kOurs = {
        "LISTEN_PID=", "LISTEN_FDS=", "LISTEN_FDNAMES=", "NOTIFY_SOCKET=", "WATCHDOG_PID=", "WATCHDOG_USEC="};
    std::vector<char*> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        bool isOurs = false;
        for (const char* name : kOurs) isOurs = isOurs || std::string_view(*variable).starts_with(name);
        if (!isOurs) variables.push_back(*variable);
    }
    variables.push_back(nullptr);
    return variables;
}

/// The file actions and attributes for posix_spawn(3). Standard input is /dev/null, both outputs go to a pipe, and no
/// other descriptor is inherited. The signal mask is empty, and SIGPIPE has its default action.
class SpawnSettings {
  public:
    explicit SpawnSettings(int output) {
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions_, output, STDERR_FILENO);
        ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
        ::posix_spawnattr_init(&attributes_);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        sigset_t signals;
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes_, &signals);
        ::sigaddset(&signals, SIGPIPE);
        ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    }
    ~SpawnSettings() {
        ::posix_spawn_file_actions_destroy(&actions_);
        ::posix_spawnattr_destroy(&attributes_);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    [[nodiscard]] const posix_spawn_file_actions_t* actions() const { return &actions_; }
    [[nodiscard]] const posix_spawnattr_t* attributes() const { return &attributes_; }

  private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

/// A descriptor that is closed at the end.
class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int get() const { return fd_; }
    void close() {
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
    }

  private:
    int fd_;
};

/// Appends what can be read at once. False at the end of the output.
bool readAvailable(int fd, size_t most, std::string& output) {
    constexpr int kPiecesAtOnce = 64;  // a program that writes without end mustn't escape its time limit
    std::array<char, 4096> piece{};
    for (int i = 0; i < kPiecesAtOnce; ++i) {
        const ssize_t n = ::read(fd, piece.data(), piece.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return n < 0 && errno == EAGAIN;
        output.append(piece.data(), std::min(static_cast<size_t>(n), most - output.size()));
    }
    return true;
}

/// Reads until the process has ended. False after the deadline.
bool follow(int process, int out, std::chrono::steady_clock::time_point deadline, size_t most, std::string& output) {
    std::array<pollfd, 2> watched = {{{process, POLLIN, 0}, {out, POLLIN, 0}}};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        const int ready = ::poll(watched.data(), watched.size(), static_cast<int>(left.count()));
        if (ready <= 0) continue;
        if (watched[1].revents != 0 && !readAvailable(out, most, output)) watched[1].fd = -1;
        if (watched[0].revents == 0) continue;
        if (watched[1].fd >= 0) (void)readAvailable(out, most, output);
        return true;
    }
}

/// Kills a process that was started in a session of its own and hasn't been reaped, with its process group.
void killGroup(pid_t leader) {
    if (leader > 1) (void)::kill(-leader, SIGKILL);
}

}  // namespace

pid_t startProgram(const std::vector<std::string>& words, int output) {
    const SpawnSettings settings(output);
    std::vector<std::string> copies = words;  // posix_spawn(3) takes words that aren't constant
    std::vector<char*> pointers;
    for (std::string& word : copies) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    pid_t child = 0;
    errno = ::posix_spawn(&child, words.front().c_str(), settings.actions(), settings.attributes(), pointers.data(),
                          childEnvironment().data());
    return errno == 0 ? child : 0;
}

ProgramResult runProgram(const std::vector<std::string>& words, std::chrono::milliseconds limit, size_t most) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    ProgramResult result;
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) return {std::strerror(errno), -1, {}};
    const Descriptor out(pipe[0]);
    Descriptor in(pipe[1]);
    ::fcntl(in.get(), F_SETFL, 0);  // the program's own end blocks, as programs expect
    const pid_t child = startProgram(words, in.get());
    if (child == 0) return {std::strerror(errno), -1, {}};
    in.close();

    const Descriptor process(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    if (process.get() < 0)
        result.problem = std::string("can't be watched: ") + std::strerror(errno);
    else if (!follow(process.get(), out.get(), deadline, most, result.output))
        result.problem = "killed after " + std::to_string(limit.count()) + " ms";
    if (!result.problem.empty()) killGroup(child);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!result.problem.empty()) return result;
    constexpr int kSignals = 128;  // as shells do it
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : kSignals + WTERMSIG(status);
    return result;
}

}  // namespace hostd
