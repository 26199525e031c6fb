#include "ucd.h"

#include "agent/core/autorun.h"

void autorun() {
    ucd::startMemory();
    ucd::startFileSystems();
    ucd::startLoad();
    ucd::startStatistics();
    ucd::startDiskIo();
}
