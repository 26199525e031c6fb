#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tnctl {

/// The known word that was probably meant: one that begins with the typed text, else the nearest one, at most two
/// typing errors away. Empty when none is near, and for texts of less than 2 or more than 64 octets. A view of the
/// known word.
[[nodiscard]] std::string_view nearest(std::string_view typed, std::span<const std::string_view> known);

/// "a, b or c" for an error text, with " (did you mean b?)" when nearest() finds one.
[[nodiscard]] std::string expectedOneOf(std::string_view typed, std::span<const std::string_view> known);

}  // namespace tnctl
