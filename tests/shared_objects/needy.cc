// Calls what no agent has.

#include "agent/core/autorun.h"

extern "C" void nowhereToBeFound();

void autorun() { nowhereToBeFound(); }
