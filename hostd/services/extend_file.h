#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace hostd {

/// A command that the administrator has named.
struct ExtendCommand {
    std::string name;                ///< 1 to 32 printable ASCII characters
    std::vector<std::string> words;  ///< of the command line, the program's path first
    std::chrono::seconds cache{5};   ///< a result is served for this time
    std::chrono::seconds timeout{10};

    friend bool operator==(const ExtendCommand&, const ExtendCommand&) = default;
};

/// The commands of a file, in the order of their names as SNMP indexes: shorter ones first.
struct ExtendFile {
    std::string problem;  ///< its first fault, with its line, for the log; else empty
    std::vector<ExtendCommand> commands;
};

/// Reads /etc/tarnix-snmp/extend.conf. A line is NAME [cache=SECONDS] [timeout=SECONDS] PROGRAM [ARGUMENT]...: words
/// separated by spaces or tabs. A word in double quotes may have spaces in it, and is never an option. The program is
/// an absolute path. Empty lines, and lines whose first character is #, are ignored. A line with a fault is left out,
/// and so are those with a name that an earlier one has, and those after the 64th command.
[[nodiscard]] ExtendFile parseExtendFile(std::string_view text);

}  // namespace hostd
