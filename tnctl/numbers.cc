#include "tnctl/numbers.h"

#include <charconv>

namespace tnctl {

std::optional<uint64_t> parseNumber(std::string_view text, uint64_t most) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    uint64_t number = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (fault != std::errc() || end != text.data() + text.size() || number > most) return std::nullopt;
    return number;
}

std::vector<std::string_view> splitAtCommas(std::string_view text) {
    std::vector<std::string_view> pieces;
    for (size_t comma; (comma = text.find(',')) != std::string_view::npos; text.remove_prefix(comma + 1))
        pieces.push_back(text.substr(0, comma));
    pieces.push_back(text);
    return pieces;
}

std::optional<std::vector<uint32_t>> parseNumbers(std::string_view text) {
    std::vector<uint32_t> numbers;
    for (const std::string_view piece : splitAtCommas(text)) {
        const auto number = parseNumber(piece);
        if (!number) return std::nullopt;
        numbers.push_back(static_cast<uint32_t>(*number));
    }
    return numbers;
}

}  // namespace tnctl
