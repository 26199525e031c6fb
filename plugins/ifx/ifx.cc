#include "ifx.h"

#include "agent/core/autorun.h"

void autorun() {
    ifx::startInterfaces();
    ifx::startStack();
}
