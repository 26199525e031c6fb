#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tnctl {

/// One command of a file.
struct FileCommand {
    size_t line = 0;  ///< where it begins, counted from 1
    std::vector<std::string> words;
};

/// A fault in a line of a file.
class LineFault : public std::runtime_error {
  public:
    LineFault(size_t where, const std::string& text) : std::runtime_error(text), line(where) {}
    size_t line;
};

/// Splits a file into commands, one per line, and each command into words, with the quoting of a shell: 'text',
/// "text", \c and $'text', in which \n and \xHH have their meaning. A backslash at the end of a line continues the
/// command. A # at the start of a word begins a comment. Nothing is expanded. Throws LineFault for a quote without an
/// end.
[[nodiscard]] std::vector<FileCommand> splitCommands(std::string_view text);

/// The text as a word that splitCommands and shells read as this text.
[[nodiscard]] std::string shellQuoted(std::string_view text);

}  // namespace tnctl
