#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tnctl {

/// Parses a non-negative integer, decimal or hexadecimal with 0x. nullopt for any other text, including signs and
/// spaces, and for a number above `maximum`.
[[nodiscard]] std::optional<uint64_t> parseNumber(std::string_view text, uint64_t maximum = UINT32_MAX);

/// Whether the text is an OID that BER can encode (RFC 2578, 3.5; X.660): 2 to 128 decimal numbers of 32 bits,
/// separated by dots, the first at most 2, the second at most 39. A leading dot is allowed.
[[nodiscard]] bool isOid(std::string_view text);

/// The numbers of an OID; nullopt unless isOid().
[[nodiscard]] std::optional<std::vector<uint32_t>> parseOid(std::string_view text);

/// The pieces between commas, which refer to the text. An empty text is one empty piece.
[[nodiscard]] std::vector<std::string_view> splitAtCommas(std::string_view text);

/// Parses numbers separated by commas ("24,2"). nullopt unless all are numbers of 32 bits.
[[nodiscard]] std::optional<std::vector<uint32_t>> parseNumbers(std::string_view text);

}  // namespace tnctl
