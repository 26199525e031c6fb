#include "tnctl/words.h"

#include <algorithm>
#include <set>
#include <utility>

#include "tn/log.h"
#include "tnctl/failure.h"
#include "tnctl/nearest.h"

namespace tnctl {

namespace {

struct Assignment {
    const Word* word;
    std::string_view value;
};

std::vector<std::string_view> settableNames(std::span<const Word> words) {
    std::vector<std::string_view> names;
    for (const Word& word : words)
        if (word.settable) names.push_back(word.name);
    return names;
}

const Word& findWord(std::span<const Word> words, std::string_view name) {
    for (const Word& word : words) {
        if (word.name != name) continue;
        if (!word.settable) throw Failure(kUsage, std::string(name) + ": read-only, the agent maintains it");
        return word;
    }
    throw Failure(kUsage, tn::escaped(name) + ": unknown key: expected " + expectedOneOf(name, settableNames(words)));
}

Assignment parseAssignment(std::span<const Word> words, std::string_view argument) {
    const size_t equals = argument.find('=');
    const Word& word = findWord(words, argument.substr(0, equals));
    if (equals == std::string_view::npos)
        throw Failure(kUsage, std::string(word.name) + ": expected " + std::string(word.name) +
                                  "=VALUE, where VALUE is " + std::string(word.type.expected));
    return {&word, argument.substr(equals + 1)};
}

void putValue(const Word& word, std::string_view value, tn::message& out) {
    if (word.type.parse(value, word.number, out)) return;
    // A secret isn't repeated, not even a wrong one: standard error ends up in logs.
    const std::string shown = word.type.secret ? "***" : tn::escaped(value);
    throw Failure(kUsage, std::string(word.name) + "=" + shown + ": expected " + std::string(word.type.expected));
}

}  // namespace

tn::message parseWords(std::span<const Word> words, const std::vector<std::string>& arguments,
                       const ReadSecret& readSecret) {
    std::vector<Assignment> assignments;
    std::set<const Word*> given;
    for (const std::string& argument : arguments) {
        assignments.push_back(parseAssignment(words, argument));
        if (!given.insert(assignments.back().word).second)
            throw Failure(kUsage, std::string(assignments.back().word->name) + ": given twice");
    }
    tn::message out;
    for (const auto& [word, value] : assignments)
        if (!word->type.secret) putValue(*word, value, out);
    for (const auto& [word, value] : assignments)
        if (word->type.secret) putValue(*word, readSecret(*word, value), out);
    return out;
}

Json showWords(std::span<const Word> words, const tn::message& in, bool secrets) {
    Json object = Json::object();
    for (const Word& word : words) {
        Json value = word.type.show(in, word.number);
        if (word.type.secret && !secrets && !value.get_ref<const std::string&>().empty()) value = "***";
        object[std::string(word.name)] = std::move(value);
    }
    return object;
}

std::string helpOnWords(std::span<const Word> words) {
    size_t widest = 0;
    for (const Word& word : words) widest = std::max(widest, word.name.size());
    std::string text;
    for (const Word& word : words) {
        if (!word.settable) continue;
        text += "  " + std::string(word.name) + std::string(widest - word.name.size() + 2, ' ');
        text += std::string(word.type.expected) + ": " + std::string(word.help) + "\n";
    }
    return text;
}

}  // namespace tnctl
