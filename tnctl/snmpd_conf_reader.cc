#include "tnctl/snmpd_conf_reader.h"

#include <algorithm>
#include <cctype>

namespace tnctl {

namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
    return text;
}

/// The words of a line; quotes, single or double, hold one together, and a backslash in them stands for what follows.
std::vector<std::string> wordsOf(std::string_view text) {
    std::vector<std::string> words;
    for (text = trimmed(text); !text.empty(); text = trimmed(text)) {
        std::string& word = words.emplace_back();
        const char quote = text.front();
        if (quote != '"' && quote != '\'') {
            const size_t end = std::min(text.find_first_of(" \t\r"), text.size());
            word = text.substr(0, end);
            text.remove_prefix(end);
            continue;
        }
        size_t at = 1;
        for (; at < text.size() && text[at] != quote; ++at) {
            if (text[at] == '\\' && at + 1 < text.size()) ++at;
            word += text[at];
        }
        text.remove_prefix(std::min(at + 1, text.size()));
    }
    return words;
}

}  // namespace

std::string lowerCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

void forEachDirective(std::string_view text, const std::function<void(const Directive&)>& call) {
    bool isOfSnmpd = true;
    for (size_t line = 1; !text.empty(); ++line) {
        const size_t lineEnd = std::min(text.find('\n'), text.size());
        std::string_view one = trimmed(text.substr(0, lineEnd));
        text.remove_prefix(std::min(lineEnd + 1, text.size()));
        if (one.empty() || one.front() == '#') continue;
        if (one.front() == '[') {  // a section; a directive may follow on its line
            const size_t end = std::min(one.find(']'), one.size() - 1);
            isOfSnmpd = lowerCase(std::string(one.substr(0, end + 1))) == "[snmpd]";
            one = trimmed(one.substr(end + 1));
            if (one.empty()) continue;
        }
        const size_t nameEnd = std::min(one.find_first_of(" \t"), one.size());
        const std::string_view rest = trimmed(one.substr(nameEnd));
        call({line, std::string(one.substr(0, nameEnd)), rest, wordsOf(rest), isOfSnmpd});
    }
}

}  // namespace tnctl
