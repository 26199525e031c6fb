#pragma once

#include <cstdint>
#include <span>

namespace tn {

/// Prepares a daemon before it opens anything under its root:
///
/// - Ignores SIGPIPE, so that the daemon survives the reader of its output. Children must restore the default.
/// - Lets only root dump or trace its memory, which holds passwords (PR_SET_DUMPABLE), except in a debug build.
/// - Refuses a root in which other users could replace files (isRootSafe).
/// - Claims its numbers (claimBusNumbers), so no two processes open the same store.
///
/// @param numbers  the daemon's numbers on the bus
/// @return false, with one line on standard error, if the daemon must not start
[[nodiscard]] bool startDaemon(std::span<const uint32_t> numbers);

}  // namespace tn
