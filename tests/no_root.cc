// In every test program: no file or socket of the platform can be made unless a test says where. The variable is set
// before any other static object of the program looks at it.
#include <cstdlib>

namespace {

[[gnu::constructor(101)]] void noRoot() { setenv("TERN_ROOT", "/dev/null/no-root", 1); }

}  // namespace
