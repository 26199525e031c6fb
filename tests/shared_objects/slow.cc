// Needs some time to start, and has a trap generator.

#include <unistd.h>

#include <cstdio>

#include "agent/core/autorun.h"
#include "agent/traps/trap_generators.h"

void autorun() {
    usleep(200'000);
    snmp::scribers.push_back({"slow", nullptr, nullptr});
    std::fputs("autorun\n", stderr);
}
