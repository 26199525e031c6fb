// Never returns from its start.

#include <unistd.h>

#include "agent/core/autorun.h"

void autorun() {
    for (;;) pause();
}
