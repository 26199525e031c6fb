#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace hostd {

/// Starts a program that inherits one listening socket in the manner of sd_listen_fds(3). Returns when the program has
/// been executed, or that has failed.
///
/// - It inherits the descriptors 0, 1 and 2, and the socket as 3. All others are closed.
/// - Its signal mask is empty, and SIGPIPE has its default action.
/// - Its environment is ours, without the variables of a service manager (sd_notify, watchdog, sockets). In addition
///   it says that this process holds the lock of the socket's bus number (tn::kLockedNumber).
/// - The kernel sends it SIGTERM when the calling thread ends (PR_SET_PDEATHSIG).
///
/// @param command       words of the command line, the program's path first
/// @param listener      listening socket; stays the caller's
/// @param listenerName  the socket's bus number, for LISTEN_FDNAMES
/// @return the pid, which the caller reaps; -1, errno set, when the program can't be started
[[nodiscard]] pid_t startChild(const std::vector<std::string>& command, int listener, const std::string& listenerName);

}  // namespace hostd
