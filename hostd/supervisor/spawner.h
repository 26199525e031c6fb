#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tn/thin_runner.h"

namespace hostd {

/// Keeps a program available behind a listening socket. The program is started once at start, then whenever a
/// connection waits at the socket while it doesn't run, and again after a crash (any end but exit status 0); never
/// twice within kPause. It gets the socket as sd_listen_fds(3) describes: descriptor 3, LISTEN_FDS=1, LISTEN_PID,
/// LISTEN_FDNAMES.
///
/// The program ends with this process: by SIGTERM from the kernel when this process dies, by the destructor otherwise.
class Spawner {
  public:
    static constexpr uint64_t kPause = 1000;  ///< ms between two starts
    /// Between SIGTERM and SIGKILL: longer than any exchange on the bus.
    static constexpr std::chrono::seconds kGracePeriod{7};

    struct Program {
        std::vector<std::string> command;  ///< words of the command line, the program's path first
        int listener = -1;                 ///< listening socket; stays the caller's
        std::string listenerName;          ///< its number on the bus, which this process has locked
    };
    Spawner(tn::ThinRunner& runner, Program program);
    ~Spawner();  ///< stop()
    Spawner(const Spawner&) = delete;
    Spawner& operator=(const Spawner&) = delete;

    /// The first start. False, with a line on standard error, when the program can't be started; it isn't tried again
    /// then.
    bool start();
    /// Ends the program with SIGTERM and waits for it; with SIGKILL when it hasn't gone after kGracePeriod.
    void stop();

    [[nodiscard]] pid_t child() const { return child_; }  ///< 0 when it doesn't run

  private:
    bool launch();
    void launchWhenDue();
    void waitForConnection();
    void childEnded();

    tn::ThinRunner& runner_;
    Program program_;
    pid_t child_ = 0;
    int childFd_ = -1;  ///< pidfd_open(2) of the child: readable once it has ended
    uint64_t launched_ = 0;
    tn::ThinRunner::TimerId timer_ = 0;
};

/// The path of a program: a name with a slash is returned as it is, another is looked for beside this program's own
/// file, then along PATH. Empty when it isn't found.
[[nodiscard]] std::string findProgram(const std::string& name);

}  // namespace hostd
