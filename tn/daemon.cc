#include "tn/daemon.h"

#include <sys/prctl.h>

#include <csignal>
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
    std::string why;
    if (isRootSafe(why) && claimBusNumbers(numbers, why)) return true;
    swarn << why;
    return false;
}

}  // namespace tn
