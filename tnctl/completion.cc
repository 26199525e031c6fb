#include "tnctl/completion.h"

#include <algorithm>

#include "tnctl/client.h"
#include "tnctl/failure.h"
#include "tnctl/id_names.h"
#include "tnctl/value_types.h"

namespace tnctl {

namespace {

constexpr std::chrono::milliseconds kTimeout{500};

std::vector<std::string> namesFrom(IdNames (*query)(const Client&)) {
    std::vector<std::string> names;
    try {
        for (const auto& [id, name] : query(Client(kTimeout))) names.push_back(name);
    } catch (const Failure&) {
        names.clear();
    }
    return names;
}

/// The values of a type whose description is a list of them: "yes or no", "1, 2c or 3".
std::vector<std::string> listedValues(std::string_view expected) {
    std::vector<std::string> values;
    while (!expected.empty()) {
        const size_t comma = expected.find(", "), last = expected.find(" or ");
        const size_t end = std::min({comma, last, expected.size()});
        values.emplace_back(expected.substr(0, end));
        if (values.back().find(' ') != std::string::npos) return {};
        expected.remove_prefix(std::min(end + (end == last ? 4U : 2U), expected.size()));
    }
    return values;
}

std::vector<std::string> valuesOf(const Word& word) {
    std::vector<std::string> values;
    if (&word.type == &kCommunity) values = namesFrom(communityNames);
    if (&word.type == &kGenerators) values = namesFrom(generatorNames);
    if (&word.type == &kInterfaces) values = namesFrom(interfaceNames);
    if (values.empty()) return listedValues(word.type.expected);
    values.emplace_back("none");
    return values;
}

}  // namespace

std::vector<std::string> completeWord(std::span<const Word> words, std::string_view typed) {
    std::vector<std::string> candidates;
    const size_t equals = typed.find('=');
    for (const Word& word : words) {
        if (!word.settable) continue;
        const std::string key = std::string(word.name) + "=";
        if (equals == std::string_view::npos) {
            candidates.push_back(key);
        } else if (typed.substr(0, equals) == word.name) {
            // In a list, the element after the last comma is completed.
            const size_t comma = typed.rfind(',');
            const std::string before(comma == std::string_view::npos ? key : typed.substr(0, comma + 1));
            for (const std::string& value : valuesOf(word)) candidates.push_back(before + value);
        }
    }
    return candidates;
}

std::vector<std::string> completeEntry() { return namesFrom(communityNames); }

}  // namespace tnctl
