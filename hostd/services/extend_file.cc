#include "hostd/services/extend_file.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <tuple>

#include "contracts/extend.h"

namespace hostd {

namespace {

constexpr size_t kMostCommands = 64;
constexpr unsigned kMostCache = 86'400;  // s
constexpr unsigned kMostTimeout = 300;   // s

struct Word {
    std::string text;
    bool isQuoted = false;
};

/// The words of a line; nothing if a quote isn't closed, or something follows it without a space.
std::optional<std::vector<Word>> wordsOf(std::string_view line) {
    constexpr std::string_view kBlanks = " \t\r";
    std::vector<Word> words;
    for (;;) {
        line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
        if (line.empty()) return words;
        const bool isQuoted = line.front() == '"';
        if (isQuoted) line.remove_prefix(1);
        const size_t end = isQuoted ? line.find('"') : std::min(line.find_first_of(kBlanks), line.size());
        if (end == std::string_view::npos) return {};
        words.push_back({std::string(line.substr(0, end)), isQuoted});
        line.remove_prefix(end + (isQuoted ? 1 : 0));
        if (!line.empty() && kBlanks.find(line.front()) == std::string_view::npos) return {};
    }
}

/// Reads OPTION=SECONDS. False if the word isn't this option, or its value isn't from `least` to `most`.
bool readOption(const Word& word, std::string_view option, unsigned least, unsigned most, std::chrono::seconds& value) {
    std::string_view text = word.text;
    if (word.isQuoted || !text.starts_with(option)) return false;
    text.remove_prefix(option.size());
    unsigned number = 0;
    const auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failed != std::errc() || end != text.data() + text.size() || number < least || number > most) return false;
    value = std::chrono::seconds(number);
    return true;
}

/// Reads a line that isn't empty. @return its fault, or empty
std::string readLine(std::string_view line, ExtendCommand& command) {
    const auto words = wordsOf(line);
    if (!words) return "a quoted word must end with a quote and a space";
    if (line.find('\0') != std::string_view::npos) return "a zero octet";
    command.name = words->front().text;
    const auto isVisible = [](char c) { return c > ' ' && c <= '~'; };
    if (command.name.empty() || command.name.size() > contracts::extend::kMostName ||
        !std::ranges::all_of(command.name, isVisible))
        return "a name has 1 to 32 printable ASCII characters";
    for (auto word = words->begin() + 1; word != words->end(); ++word) {
        if (!command.words.empty() || word->text.starts_with('/'))
            command.words.push_back(word->text);
        else if (!readOption(*word, "cache=", 0, kMostCache, command.cache) &&
                 !readOption(*word, "timeout=", 1, kMostTimeout, command.timeout))
            return "expected cache=0 to 86400, timeout=1 to 300 or the path of a program, not " + word->text;
    }
    return command.words.empty() ? "no program" : "";
}

}  // namespace

ExtendFile parseExtendFile(std::string_view text) {
    ExtendFile file;
    for (size_t number = 1; !text.empty(); ++number) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        const size_t begin = line.find_first_not_of(" \t\r");
        if (begin == std::string_view::npos || line[begin] == '#') continue;
        ExtendCommand command;
        std::string fault = readLine(line, command);
        if (fault.empty() &&
            std::ranges::find(file.commands, command.name, &ExtendCommand::name) != file.commands.end())
            fault = "another command has this name";
        if (fault.empty() && file.commands.size() == kMostCommands) fault = "more than 64 commands";
        if (fault.empty())
            file.commands.push_back(std::move(command));
        else if (file.problem.empty())
            file.problem = "line " + std::to_string(number) + ": " + fault;
    }
    std::ranges::sort(file.commands, {}, [](const ExtendCommand& command) {
        return std::tuple<size_t, const std::string&>(command.name.size(), command.name);
    });
    return file;
}

}  // namespace hostd
