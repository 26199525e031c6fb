#include "tnctl/command_file.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace tnctl {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

bool isPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("-_.,:/=@%+").find(c) != std::string_view::npos;
}

bool isPrintableOctet(char c) { return static_cast<unsigned char>(c) >= ' ' && c != '\x7f'; }

std::optional<unsigned> hexDigit(char c) {
    if (c >= 'A' && c <= 'F') c = static_cast<char>(c - 'A' + 'a');
    const size_t value = std::string_view(kHexDigits, 16).find(c);
    return value == std::string_view::npos ? std::nullopt : std::optional(static_cast<unsigned>(value));
}

class Splitter {
  public:
    explicit Splitter(std::string_view text) : text_(text) {}

    std::vector<FileCommand> split() {
        while (at_ < text_.size()) step();
        endCommand();
        return std::move(commands_);
    }

  private:
    void step() {
        const char c = next();
        if (c == '\n') {
            endCommand();
        } else if (c == ' ' || c == '\t' || c == '\r') {
            endWord();
        } else if (c == '#' && !word_) {
            at_ = std::min(text_.find('\n', at_), text_.size());
        } else if (c == '\'') {
            readSingle();
        } else if (c == '"') {
            readDouble();
        } else if (c == '$' && at_ < text_.size() && text_[at_] == '\'') {
            ++at_;
            readEscaped();
        } else if (c == '\\') {
            // At the end of the file it stands for itself.
            if (at_ == text_.size())
                add('\\');
            else if (const char escaped = next(); escaped != '\n')
                add(escaped);
        } else {
            add(c);
        }
    }

    char next() {
        if (text_[at_] == '\n') ++line_;
        return text_[at_++];
    }

    char nextQuoted() {
        if (at_ == text_.size() || text_[at_] == '\n') throw LineFault(line_, "quote without an end");
        return next();
    }

    void readSingle() {
        open();
        for (char c = nextQuoted(); c != '\''; c = nextQuoted()) add(c);
    }

    void readDouble() {
        open();
        for (char c = nextQuoted(); c != '"'; c = nextQuoted()) {
            if (c == '\\' && at_ < text_.size() &&
                std::string_view("\"\\$`").find(text_[at_]) != std::string_view::npos)
                c = next();
            add(c);
        }
    }

    void readEscaped() {
        open();
        for (char c = nextQuoted(); c != '\''; c = nextQuoted()) {
            if (c == '\\') c = readEscape();
            add(c);
        }
    }

    // What follows a backslash in $'...'.
    char readEscape() {
        const char c = nextQuoted();
        if (c == 'n') return '\n';
        if (c == 't') return '\t';
        if (c == '\\' || c == '\'') return c;
        const auto high = c == 'x' ? hexDigit(nextQuoted()) : std::nullopt;
        const auto low = high ? hexDigit(nextQuoted()) : std::nullopt;
        if (!low) throw LineFault(line_, "expected \\n, \\t, \\\\, \\' or \\xHH in $'...'");
        return static_cast<char>(*high << 4 | *low);
    }

    /// Begins a word, if none has begun: quotes make one even if it is empty.
    std::string& open() {
        if (!word_) word_.emplace();
        if (command_.words.empty() && command_.line == 0) command_.line = line_;
        return *word_;
    }

    void add(char c) { open() += c; }

    void endWord() {
        if (word_) command_.words.push_back(std::move(*word_));
        word_.reset();
    }

    void endCommand() {
        endWord();
        if (!command_.words.empty()) commands_.push_back(std::move(command_));
        command_ = {};
    }

    std::string_view text_;
    size_t at_ = 0;
    size_t line_ = 1;  ///< of text_[at_]
    std::optional<std::string> word_;
    FileCommand command_;
    std::vector<FileCommand> commands_;
};

}  // namespace

std::vector<FileCommand> splitCommands(std::string_view text) { return Splitter(text).split(); }

std::string shellQuoted(std::string_view text) {
    if (!text.empty() && std::ranges::all_of(text, isPlain)) return std::string(text);
    const bool isPrinted = std::ranges::all_of(text, isPrintableOctet);
    if (isPrinted && text.find('\'') == std::string_view::npos) return "'" + std::string(text) + "'";
    std::string word = "$'";
    for (const char c : text) {
        if (isPrintableOctet(c)) {
            if (c == '\'' || c == '\\') word += '\\';
            word += c;
        } else {
            word += "\\x";
            word += kHexDigits[static_cast<unsigned char>(c) >> 4];
            word += kHexDigits[c & 15];
        }
    }
    return word + "'";
}

}  // namespace tnctl
