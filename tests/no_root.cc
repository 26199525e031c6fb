// Linked into every test program: the platform's files and sockets can't be created until a test sets a root. Set
// before any other static object reads the variable.
#include <cstdlib>

namespace {

[[gnu::constructor(101)]] void noRoot() { setenv("TERN_ROOT", "/dev/null/no-root", 1); }

}  // namespace
