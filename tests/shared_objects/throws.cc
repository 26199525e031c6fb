#include <stdexcept>

#include "agent/core/autorun.h"

void autorun() { throw std::runtime_error("no such sensor"); }
