// Built with the headers of another version.

#include <cstdio>

extern "C" const char* tarnixPluginVersion() { return "0.0.1"; }
extern "C" void autorun() { std::fputs("autorun\n", stderr); }
