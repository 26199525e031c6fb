#include "ifx.h"

#include "agent/core/autorun.h"

void autorun() { ifx::startStack(); }
