#pragma once

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>

#include "eventually.h"

namespace tn {

/// A child process of a test, killed and reaped with this object. Tests signal processes only through it: a pid of -1,
/// the result of a failed fork, would address every process of the machine.
class Child {
  public:
    /// @param body  its result is the child's exit status
    explicit Child(const std::function<int()>& body) : pid_(fork()) {
        if (pid_ < 0) std::abort();
        if (pid_ == 0) _exit(body());
    }
    ~Child() { end(SIGKILL); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// 0 once it has been reaped.
    [[nodiscard]] pid_t pid() const { return pid_; }
    void signal(int signal) const {
        if (pid_ > 1) kill(pid_, signal);
    }
    /// Signals it and waits for its end. @return its wait status; 0 when it had been reaped
    int end(int signal) {
        this->signal(signal);
        return wait();
    }
    /// Waits for its end. @return its wait status; 0 when it had been reaped
    int wait() {
        int status = 0;
        if (pid_ > 1) waitpid(pid_, &status, 0);
        pid_ = 0;
        return status;
    }
    /// Waits for it to exit by itself. @return its exit status; -1 for a signal
    int exitStatus() {
        const int status = wait();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    /// Waits up to 30 s for it to exit by itself. @return whether it has
    bool ended() {
        return eventually([&] {
            if (pid_ > 1 && waitpid(pid_, nullptr, WNOHANG) == pid_) pid_ = 0;
            return pid_ == 0;
        });
    }

  private:
    pid_t pid_;
};

}  // namespace tn
