#include "example.h"

#include "agent/core/autorun.h"

void autorun() {
    example::startLoad();
    example::startSpares();
    example::startSpareTraps();
}
