#include "hostd/services/script_run.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "hostd/log.h"
#include "hostd/services/program.h"
#include "tn/looper.h"

namespace hostd {

namespace {

constexpr size_t kPiecesAtOnce = 16;  // reads of output before the loop continues with other work

}  // namespace

ScriptRun::~ScriptRun() { close(); }

bool ScriptRun::start(const std::string& path) {
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) return false;
    output_ = pipe[0];
    ::fcntl(output_, F_SETFL, O_NONBLOCK);
    child_ = startProgram({path}, pipe[1]);
    const int failed = errno;
    ::close(pipe[1]);
    if (child_ > 0) {
        hostLog << "script started: " << name_ << ", process " << child_;
        return watch();
    }
    child_ = 0;
    close();
    errno = failed;
    return false;
}

// The script runs already, so a failure here isn't one of start().
bool ScriptRun::watch() {
    tn::Looper* looper = tn::getLooper();
    childFd_ = static_cast<int>(::syscall(SYS_pidfd_open, child_, 0));
    if (looper == nullptr || childFd_ < 0) {
        close();
        child_ = 0;
        return true;
    }
    looper->addSocket(
        output_, [this](int, unsigned) { read(); }, EPOLLIN);
    looper->addSocket(
        childFd_, [this](int, unsigned) { ended(); }, EPOLLIN);
    return true;
}

void ScriptRun::read() {
    std::array<char, 4096> piece{};
    for (size_t i = 0; i < kPiecesAtOnce; ++i) {
        const ssize_t n = ::read(output_, piece.data(), piece.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return;
        if (n == 0) {  // the script has closed its output; it may still run
            if (tn::Looper* looper = tn::getLooper()) looper->removeSocket(output_);
            return;
        }
        logOutput({piece.data(), static_cast<size_t>(n)});
    }
}

void ScriptRun::logOutput(std::string_view output) {
    for (const char c : output) {
        if (c == '\n')
            logLine();
        else if (line_.size() < kMaxLine)
            line_ += c;
    }
}

void ScriptRun::logLine() {
    if (lines_++ < kMaxLines) hostLog << "script " + name_ + ": " << line_;
    line_.clear();
}

void ScriptRun::ended() {
    siginfo_t end{};
    if (::waitid(P_PID, static_cast<id_t>(child_), &end, WEXITED | WNOHANG) != 0 || end.si_pid == 0) return;
    read();  // the rest of its output; later output of its background processes isn't read
    if (!line_.empty()) logLine();
    if (lines_ > kMaxLines) hostLog << "script " + name_ + ": " << lines_ - kMaxLines << " more lines suppressed";
    if (end.si_code != CLD_EXITED)
        hostLog << "script ended: " << name_ << ", signal " << end.si_status << " (" << ::strsignal(end.si_status)
                << ")";
    else if (end.si_status != 0)
        hostLog << "script ended: " << name_ << ", exit status " << end.si_status;
    close();
    child_ = 0;
}

void ScriptRun::close() {
    tn::Looper* looper = tn::getLooper();
    for (int* fd : {&output_, &childFd_}) {
        if (*fd < 0) continue;
        if (looper != nullptr) looper->removeSocket(*fd);
        ::close(*fd);
        *fd = -1;
    }
}

}  // namespace hostd
