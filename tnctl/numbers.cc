#include "tnctl/numbers.h"

#include <charconv>

namespace tnctl {

std::optional<uint64_t> parseNumber(std::string_view text, uint64_t maximum) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    uint64_t number = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (fault != std::errc() || end != text.data() + text.size() || number > maximum) return std::nullopt;
    return number;
}

std::optional<std::vector<uint32_t>> parseOid(std::string_view text) {
    constexpr size_t kMinimum = 2, kMaximum = 128;  // RFC 2578, 3.5
    constexpr uint32_t kGreatest[] = {2, 39};
    if (text.starts_with('.')) text.remove_prefix(1);
    const char* const end = text.data() + text.size();
    std::vector<uint32_t> numbers;
    for (const char* at = text.data();; ++at) {
        uint32_t number = 0;
        const auto [next, fault] = std::from_chars(at, end, number);
        const size_t count = numbers.size();
        if (fault != std::errc() || (count < kMinimum && number > kGreatest[count])) return std::nullopt;
        numbers.push_back(number);
        if (numbers.size() > kMaximum) return std::nullopt;
        if (next == end) return numbers.size() >= kMinimum ? std::optional(numbers) : std::nullopt;
        if (*next != '.') return std::nullopt;
        at = next;
    }
}

bool isOid(std::string_view text) { return parseOid(text).has_value(); }

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
