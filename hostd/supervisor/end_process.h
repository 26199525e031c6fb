#pragma once

namespace hostd {

/// Flushes stdio and exits without running static destructors: helper threads may still be inside a library call, and
/// would crash when globals go away.
[[noreturn]] void endProcess(int status);

}  // namespace hostd
