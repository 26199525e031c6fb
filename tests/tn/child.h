#pragma once

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>

#include "eventually.h"

namespace tn {

/// A child process of a test. The destructor kills and reaps it. Tests signal processes only through this class: a pid
/// of -1, the result of a failed fork, would address every process of the machine.
class Child {
  public:
    /// @param body  runs in the child; its result is the exit status
    explicit Child(const std::function<int()>& body) : pid_(fork()) {
        if (pid_ < 0) std::abort();
        if (pid_ == 0) _exit(body());
    }
    ~Child() { end(SIGKILL); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// The child's pid; 0 after it has been reaped.
    [[nodiscard]] pid_t pid() const { return pid_; }
    void signal(int signal) const {
        if (pid_ > 1) kill(pid_, signal);
    }
    /// Signals the child and waits for its end. @return its wait status; 0 if it was reaped before
    int end(int signal) {
        this->signal(signal);
        return wait();
    }
    /// Waits for the child's end. @return its wait status; 0 if it was reaped before
    int wait() {
        int status = 0;
        if (pid_ > 1) waitpid(pid_, &status, 0);
        pid_ = 0;
        return status;
    }
    /// Waits for the child to exit. @return its exit status; -1 if a signal ended it
    int exitStatus() {
        const int status = wait();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    /// Waits up to 30 s for the child's end. @return whether it has ended
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
