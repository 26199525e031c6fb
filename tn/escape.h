#pragma once

#include <string>
#include <string_view>

namespace tn {

/// The text as it may stand in one line of a log or a table: what isn't printable ASCII or UTF-8, and characters that
/// reorder or break a line, become \n, \t or \x1b, octet by octet. Backslashes are doubled, so that the result can
/// be read back unambiguously. Safe for any octets, from any thread.
[[nodiscard]] std::string escaped(std::string_view text);

}  // namespace tn
