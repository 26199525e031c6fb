#include "host.h"

#include "agent/core/autorun.h"

void autorun() {
    host::startSystem();
    host::startStorage();
    host::startDevices();
    host::startFileSystems();
    host::startProcesses();
    host::startPackages();
}
