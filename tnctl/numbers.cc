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

bool isOid(std::string_view text) {
    constexpr size_t kMinimum = 2, kMaximum = 128;  // RFC 2578, 3.5
    constexpr uint32_t kGreatest[] = {2, 39};
    if (text.starts_with('.')) text.remove_prefix(1);
    const char* const end = text.data() + text.size();
    size_t count = 0;
    for (const char* at = text.data();; ++at) {
        uint32_t number = 0;
        const auto [next, fault] = std::from_chars(at, end, number);
        if (fault != std::errc() || (count < kMinimum && number > kGreatest[count])) return false;
        ++count;
        if (next == end) return count >= kMinimum && count <= kMaximum;
        if (*next != '.') return false;
        at = next;
    }
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
