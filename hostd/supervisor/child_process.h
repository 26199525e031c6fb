#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace hostd {

/// Starts a program with one listening socket, handed over as sd_listen_fds(3) describes. The program learns that this
/// process holds the lock of the socket's number (tn::kLockedNumber). The kernel sends it SIGTERM when the calling
/// thread ends. In it all other descriptors but 0, 1 and 2 are closed, the signal mask is empty and no signal is
/// ignored. Variables from a service manager (sd_notify, watchdog, sockets) aren't passed on.
/// @param command       words of the command line, the program's path first
/// @param listener      listening socket; stays the caller's
/// @param listenerName  the socket's number on the bus, for LISTEN_FDNAMES
/// @return the pid, which the caller reaps; -1, errno set, when the program can't be started
[[nodiscard]] pid_t startChild(const std::vector<std::string>& command, int listener, const std::string& listenerName);

}  // namespace hostd
