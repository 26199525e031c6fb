// Never returns from the constructor of a static object.

#include <unistd.h>

#include "agent/core/autorun.h"

namespace {

struct Hang {
    Hang() {
        for (;;) pause();
    }
};
const Hang atStart;

}  // namespace

void autorun() {}
