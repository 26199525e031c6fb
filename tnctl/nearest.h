#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tnctl {

/// The known word that was probably meant: one that begins with the typed text, else the one with the fewest typing
/// errors, at most two (one for texts of 2 or 3 octets). Empty if there is none, and for texts of less than 2 or more
/// than 64 octets. The result refers to the known word.
[[nodiscard]] std::string_view nearest(std::string_view typed, std::span<const std::string_view> known);

/// "a, b or c" for an error text, with " (did you mean b?)" if nearest() finds a word.
[[nodiscard]] std::string expectedOneOf(std::string_view typed, std::span<const std::string_view> known);

}  // namespace tnctl
