#include <cstdio>

#include "agent/core/autorun.h"

void autorun() { std::fputs("autorun\n", stderr); }
