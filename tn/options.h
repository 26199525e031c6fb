#pragma once

#include <CLI/CLI.hpp>
#include <optional>

namespace tn {

/// Adds the options every daemon has, each with an effect of its own as it is read: --root DIR, --log
/// stderr|syslog|none, --version.
void addCommonOptions(CLI::App& app);

/// Reads the command line. @return the exit status when the program is to leave now: 0 after --help and --version; 2
/// for a word that it doesn't take, after one line on standard error about it
[[nodiscard]] std::optional<int> parseOptions(CLI::App& app, int argc, const char* const* argv);

}  // namespace tn
