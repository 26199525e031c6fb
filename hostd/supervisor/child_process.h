#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace hostd {

/// Starts a program with one listening socket, handed over as sd_listen_fds(3) tells, that gets SIGTERM when the thread
/// that calls this ends. It is told that this process holds the lock of that number (tn::kLockedNumber). All other
/// descriptors but 0, 1 and 2 are closed in it, its signal mask is empty, and what a service manager told this process
/// (sd_notify, watchdog, sockets) isn't passed on.
/// @param command  words of the command line, the program's path first
/// @return the pid; -1, errno set, when the program can't be started
[[nodiscard]] pid_t startChild(const std::vector<std::string>& command, int listener, const std::string& listenerName);

}  // namespace hostd
