#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tn/thin_runner.h"

namespace hostd {

/// Keeps a program running that serves a listening socket, which it inherits (startChild). start() starts it. After a
/// crash, which is any end but exit status 0, it is started again. After exit status 0, it is started again when a
/// client connects to the socket. Between two starts there is at least kPause. If the program can't be started again,
/// that is logged and retried.
///
/// The program ends with this process: the destructor ends it, and if this process dies, the kernel sends it SIGTERM.
class Spawner {
  public:
    static constexpr uint64_t kPause = 1000;  ///< ms, minimum between two starts
    /// Time from SIGTERM to SIGKILL. It is longer than any exchange on the bus, for which the program may be waiting.
    static constexpr std::chrono::seconds kGracePeriod{7};

    struct Program {
        std::vector<std::string> command;  ///< words of the command line, the program's path first
        int listener = -1;                 ///< listening socket; stays the caller's
        std::string listenerName;          ///< the socket's bus number, whose lock this process holds
    };
    /// Starts nothing yet.
    /// @param runner  the loop; must outlive this
    Spawner(tn::ThinRunner& runner, Program program);
    ~Spawner();  ///< stop()
    Spawner(const Spawner&) = delete;
    Spawner& operator=(const Spawner&) = delete;

    /// Starts the program for the first time. False, with a line on standard error, when that fails. It isn't retried
    /// then.
    bool start();
    /// Sends the program SIGTERM and waits until it has ended. After kGracePeriod, sends it SIGKILL. The program isn't
    /// started again.
    void stop();

    [[nodiscard]] pid_t child() const { return child_; }  ///< 0 when it doesn't run

  private:
    /// Starts the program and watches for its end. False, errno set, on failure: the program doesn't run then.
    bool launch();
    /// Schedules launch() for kPause after the last one, and again after a failure.
    void launchWhenDue();
    /// Has the loop start the program when a client connects.
    void waitForConnection();
    /// Reaps the child and schedules its restart.
    void childEnded();

    tn::ThinRunner& runner_;
    Program program_;
    pid_t child_ = 0;                    ///< 0 while it doesn't run
    int childFd_ = -1;                   ///< pidfd_open(2) of the child: readable once it has ended
    uint64_t launched_ = 0;              ///< time of the last launch(): ms, as of tn::getMilliseconds
    tn::ThinRunner::TimerId timer_ = 0;  ///< of the next launch(); 0 when none is scheduled
};

/// The path of a program. A name with a slash is returned as it is, unchecked. Any other name is searched for in the
/// folder of this program's file, then in the folders of PATH. Empty when it isn't found there.
[[nodiscard]] std::string findProgram(const std::string& name);

}  // namespace hostd
