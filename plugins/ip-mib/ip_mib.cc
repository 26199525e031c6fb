#include "ip_mib.h"

#include "agent/core/autorun.h"

void autorun() {
    ip_mib::startAddresses();
    ip_mib::startInterfaces();
    ip_mib::startStatistics();
    ip_mib::startRoutes();
    ip_mib::startSockets();
}
