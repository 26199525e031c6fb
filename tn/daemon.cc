#include "tn/daemon.h"

#include <sys/prctl.h>
#include <systemd/sd-daemon.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tn/bus_socket.h"
#include "tn/log.h"
#include "tn/paths.h"

namespace tn {

bool startDaemon(std::span<const uint32_t> numbers) {
    std::signal(SIGPIPE, SIG_IGN);
#ifndef TARNIX_DEBUGGABLE
    prctl(PR_SET_DUMPABLE, 0);
#endif
    if (const int count = sd_listen_fds(/*unset_environment=*/0); count < 0) {
        swarn << "inherited descriptors can't be used: " << strerror(-count);
        unsetenv("LISTEN_FDS");  // else what we open next would be taken for the closed one
    }
    std::string why;
    if (isRootSafe(why) && claimBusNumbers(numbers, why)) return true;
    swarn << why;
    return false;
}

}  // namespace tn
