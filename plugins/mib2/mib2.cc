#include "mib2.h"

#include "agent/core/autorun.h"

void autorun() {
    mib2::startProtocols();
    mib2::startSockets();
    mib2::startSnmp();
    mib2::startModules();
}
