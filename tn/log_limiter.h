#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tn {

class lstream;

/// Called with a stream, what its lines were about, and how many of them were left out.
using LogSummary = std::function<void(const lstream& origin, const std::string& which, uint64_t lines)>;

/// Whether a line may be written now, by the limits of lstream. May be called by any thread.
///
/// @param cause    first piece of the line's text
/// @param summary  called first for each cause, and for strangers, of which lines were left out and which has room
///                 again. A lock is held meanwhile: it must not admit lines itself.
[[nodiscard]] bool admitLine(const lstream& stream, std::string_view cause, const LogSummary& summary);

}  // namespace tn
