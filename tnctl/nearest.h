#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tnctl {

/// The known word somebody probably meant: one that begins with what was typed, or lies at most two typing slips away.
/// Empty when none is close.
[[nodiscard]] std::string_view nearest(std::string_view typed, std::span<const std::string_view> known);

/// "a, b or c", followed by a suggestion when a known word is close to the typed one.
[[nodiscard]] std::string expectedOneOf(std::string_view typed, std::span<const std::string_view> known);

}  // namespace tnctl
