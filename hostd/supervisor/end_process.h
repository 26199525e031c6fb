#pragma once

namespace hostd {

/// Flushes std::cout and stdio and exits without running static destructors: helper threads may still be inside a
/// library call, and would crash when globals are destroyed.
/// @param status  exit status
[[noreturn]] void endProcess(int status);

}  // namespace hostd
