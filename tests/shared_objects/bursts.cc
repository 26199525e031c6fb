// Ends the process that loads it.

#include <stdexcept>

#include "agent/core/autorun.h"

namespace {

struct Burst {
    Burst() { throw std::runtime_error("no such device"); }
};
const Burst atStart;

}  // namespace

void autorun() {}
