#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tn {

class lstream;

/// Reports suppressed lines.
/// @param which  describes them, to be printed after their number: "that begin with: bus"
using LogSummary = std::function<void(const lstream& origin, const std::string& which, uint64_t lines)>;

/// Whether the limits of lstream permit a line now. May be called by any thread.
///
/// @param cause    first piece of the line's text
/// @param summary  called first, for each cause (and for strangers) with suppressed lines that may write again. It runs
///                 under the limiter's lock, so it must not call admitLine.
[[nodiscard]] bool admitLine(const lstream& stream, std::string_view cause, const LogSummary& summary);

/// Forgets all lines so far: for tests, whose clocks start again.
void forgetLines();

}  // namespace tn
