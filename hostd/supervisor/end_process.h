#pragma once

namespace hostd {

/// Ends the process with what was written, but without the destructors of static objects: helper threads that are still
/// inside a library or a driver would go on using what these take away, and crash.
[[noreturn]] void endProcess(int status);

}  // namespace hostd
