#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tnctl {

/// A whole number, decimal, or hexadecimal after 0x. Nothing for any other text, signs and spaces included, and for a
/// number above `maximum`.
[[nodiscard]] std::optional<uint64_t> parseNumber(std::string_view text, uint64_t maximum = UINT32_MAX);

/// Whether the text is an object identifier that BER can carry (RFC 2578, 3.5; X.660): 2 to 128 decimal numbers of 32
/// bits with dots between, the first at most 2, the second at most 39. A leading dot is allowed.
[[nodiscard]] bool isOid(std::string_view text);

/// The pieces between the commas, views of the text; one empty piece for an empty text.
[[nodiscard]] std::vector<std::string_view> splitAtCommas(std::string_view text);

/// Numbers between commas ("24,2"); nothing unless all of them are numbers of 32 bits.
[[nodiscard]] std::optional<std::vector<uint32_t>> parseNumbers(std::string_view text);

}  // namespace tnctl
