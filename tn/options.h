#pragma once

#include <CLI/CLI.hpp>
#include <optional>

namespace tn {

/// Adds the options of every daemon: --root DIR, --log stderr|syslog|none, --version. The first two take effect as
/// they are read.
void addCommonOptions(CLI::App& app);

/// Reads the command line. @return the exit status when the program is to leave now: 0 after --help and --version; 2
/// for a word that it doesn't know, after one line on standard error
[[nodiscard]] std::optional<int> parseOptions(CLI::App& app, int argc, const char* const* argv);

}  // namespace tn
