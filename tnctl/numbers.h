#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tnctl {

/// A whole number, decimal or with 0x in hexadecimal; nothing when the text is anything else or the number is greater
/// than `most`.
[[nodiscard]] std::optional<uint64_t> parseNumber(std::string_view text, uint64_t most = UINT32_MAX);

/// Whether the text is an object identifier that BER can carry: dotted decimal numbers of 32 bits, 2 to 128 of them,
/// the first at most 2, the second at most 39. A leading dot is allowed.
[[nodiscard]] bool isOid(std::string_view text);

/// The pieces between the commas; one empty piece for an empty text.
[[nodiscard]] std::vector<std::string_view> splitAtCommas(std::string_view text);

/// Numbers between commas ("24,2"); nothing when one of them isn't a number of 32 bits.
[[nodiscard]] std::optional<std::vector<uint32_t>> parseNumbers(std::string_view text);

}  // namespace tnctl
