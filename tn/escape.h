#pragma once

#include <string>
#include <string_view>

namespace tn {

/// Escapes text for one line of a log or table. Octets that aren't printable ASCII or UTF-8, and characters that
/// reorder or break a line, become \n, \t or hexadecimal as in \x1b, octet by octet. Backslashes are doubled, so that
/// the result is unambiguous. Accepts any octets. May be called by any thread.
[[nodiscard]] std::string escaped(std::string_view text);

}  // namespace tn
