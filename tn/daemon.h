#pragma once

#include <cstdint>
#include <span>

namespace tn {

/// What a daemon does before it opens anything under its root:
///
/// - The end of whoever reads its output doesn't end it (SIGPIPE). Children have to get the default back.
/// - Its memory, which holds passwords, is for root alone to dump or trace (PR_SET_DUMPABLE), but in a debug build.
/// - A root in which other users could swap files is refused (isRootSafe).
/// - The numbers are its own from here on (claimBusNumbers), so no two processes open one store.
///
/// @param numbers  those it will serve on the bus
/// @return false, with one line on standard error, when it can't go on
[[nodiscard]] bool startDaemon(std::span<const uint32_t> numbers);

}  // namespace tn
