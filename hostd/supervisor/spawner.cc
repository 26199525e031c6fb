#include "hostd/supervisor/spawner.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "hostd/log.h"
#include "hostd/supervisor/child_process.h"
#include "tn/sources.h"

namespace hostd {

namespace {

/// The end of a child in words, for the log: "exit status 1", "signal 11 (Segmentation fault)".
std::string howItEnded(const siginfo_t& end) {
    if (end.si_code == CLD_EXITED) return "exit status " + std::to_string(end.si_status);
    return "signal " + std::to_string(end.si_status) + " (" + ::strsignal(end.si_status) + ")";
}

}  // namespace

Spawner::Spawner(tn::ThinRunner& runner, Program program) : runner_(runner), program_(std::move(program)) {}

Spawner::~Spawner() { stop(); }

bool Spawner::start() {
    if (launch()) return true;
    tn::serr << "can't start " << program_.command.front() << ": " << std::strerror(errno);
    return false;
}

bool Spawner::launch() {
    launched_ = tn::getMilliseconds();
    child_ = startChild(program_.command, program_.listener, program_.listenerName);
    if (child_ < 0) {
        child_ = 0;
        return false;
    }
    // No race: the pid can't be reused before we reap the child.
    childFd_ = static_cast<int>(::syscall(SYS_pidfd_open, child_, 0));
    if (childFd_ >= 0 && runner_.addSocket(
                             childFd_, [this](int, unsigned) { childEnded(); }, EPOLLIN))
        return true;
    const int reason = errno;
    stop();
    errno = reason;
    return false;
}

void Spawner::childEnded() {
    siginfo_t end{};
    if (::waitid(P_PID, static_cast<id_t>(child_), &end, WEXITED | WNOHANG) != 0 || end.si_pid == 0) return;
    runner_.removeSocket(childFd_);
    ::close(childFd_);
    childFd_ = -1;
    child_ = 0;
    if (end.si_code == CLD_EXITED && end.si_status == 0) {
        waitForConnection();
        return;
    }
    hostLog << program_.command.front() << ": " << howItEnded(end) << "; restarting it";
    launchWhenDue();
}

void Spawner::waitForConnection() {
    const auto called = [this](int, unsigned) {
        runner_.removeSocket(program_.listener);  // the program watches it from now on, and accepts the connection
        launchWhenDue();
    };
    runner_.addSocket(program_.listener, called, EPOLLIN);
}

void Spawner::launchWhenDue() {
    const auto due = [this] {
        timer_ = 0;
        if (launch()) return;
        hostLog << "can't start " << program_.command.front() << ": " << std::strerror(errno);
        launchWhenDue();
    };
    const uint64_t since = tn::getMilliseconds() - launched_;
    timer_ = runner_.addTimer(due, std::chrono::milliseconds(since < kPause ? kPause - since : 0));
}

void Spawner::stop() {
    if (timer_ != 0) runner_.removeTimer(timer_);
    timer_ = 0;
    runner_.removeSocket(program_.listener);
    if (child_ == 0) return;

    ::kill(child_, SIGTERM);
    pollfd ended{childFd_, POLLIN, 0};
    int ready = 0;
    if (childFd_ >= 0) do
            ready = ::poll(&ended, 1, static_cast<int>(std::chrono::milliseconds(kGracePeriod).count()));
        while (ready < 0 && errno == EINTR);
    if (ready != 1) ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
    if (childFd_ >= 0) {
        runner_.removeSocket(childFd_);
        ::close(childFd_);
    }
    childFd_ = -1;
    child_ = 0;
}

std::string findProgram(const std::string& name) {
    namespace fs = std::filesystem;
    const auto isProgram = [](const fs::path& path) {
        std::error_code failed;
        return fs::is_regular_file(path, failed) && ::access(path.c_str(), X_OK) == 0;
    };
    if (name.find('/') != std::string::npos) return name;
    std::error_code failed;
    const fs::path beside = fs::read_symlink("/proc/self/exe", failed).parent_path() / name;
    if (!failed && isProgram(beside)) return beside;
    const char* path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');)
        if (!folder.empty() && isProgram(fs::path(folder) / name)) return fs::path(folder) / name;
    return {};
}

}  // namespace hostd
