#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace hostd {

// The texts of /proc are lines of words, which spaces and tabs separate.

/// Removes the first line from a text. @return the line, without its end
inline std::string_view takeLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line;
}

/// Removes the first word from a line. @return the word; empty if there is none
inline std::string_view takeWord(std::string_view& line) {
    constexpr std::string_view kBlanks = " \t";
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    const std::string_view word = line.substr(0, line.find_first_of(kBlanks));
    line.remove_prefix(word.size());
    return word;
}

/// Removes the first word from a line. @return the word as a decimal number; nothing if it isn't one
inline std::optional<uint64_t> takeNumber(std::string_view& line) {
    const std::string_view word = takeWord(line);
    uint64_t value = 0;
    const auto [rest, failed] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (failed != std::errc() || rest != word.data() + word.size()) return {};
    return value;
}

}  // namespace hostd
