#include "tnctl/nearest.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace tnctl {

namespace {

// Levenshtein's distance, one row of the matrix at a time.
size_t distance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t j = 0; j < b.size(); ++j) {
            const size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string_view nearest(std::string_view typed, std::span<const std::string_view> known) {
    constexpr size_t kLongest = 64;  // no word is longer, and the distance costs the product of both lengths
    if (typed.size() < 2 || typed.size() > kLongest) return {};
    std::string_view best;
    size_t least = std::min<size_t>(2, typed.size() / 2) + 1;
    for (const std::string_view word : known) {
        const size_t slips = word.starts_with(typed) ? 0 : distance(typed, word);
        if (slips < least) {
            least = slips;
            best = word;
        }
    }
    return best;
}

std::string expectedOneOf(std::string_view typed, std::span<const std::string_view> known) {
    std::string text;
    for (size_t i = 0; i < known.size(); ++i) {
        if (i > 0) text += i + 1 == known.size() ? " or " : ", ";
        text += known[i];
    }
    if (const std::string_view meant = nearest(typed, known); !meant.empty())
        text += " (did you mean " + std::string(meant) + "?)";
    return text;
}

}  // namespace tnctl
