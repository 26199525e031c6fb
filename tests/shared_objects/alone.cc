// Ends the process of its trial if the agent had several threads when it began.

#include <sys/single_threaded.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "agent/core/autorun.h"

void autorun() {
    std::string parent;
    std::getline(std::ifstream("/proc/" + std::to_string(getppid()) + "/comm"), parent);
    const bool isTrial = parent == "tarnix-node";
    if (isTrial && __libc_single_threaded == 0) _exit(1);
}
