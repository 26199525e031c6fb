// Serves one object, and crashes when the process ends.

#include <cstdlib>

#include "agent/ber/tags.h"
#include "agent/core/autorun.h"
#include "agent/mib/branch.h"

namespace {

struct Crash {
    ~Crash() { std::abort(); }
};
const Crash atExit;

}  // namespace

void autorun() { snmp::addScalarConstNumLeaf({1, 3, 6, 1, 4, 1, 32473, 9}, 7, snmp::tag::Integer); }
