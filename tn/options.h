#pragma once

#include <CLI/CLI.hpp>
#include <optional>

namespace tn {

/// Adds the options that all daemons have: --root DIR, --log stderr|syslog|none, --version. The first two take effect
/// while the command line is parsed.
void addCommonOptions(CLI::App& app);

/// Parses the command line.
/// @return nullopt if the program is to continue; else its exit status: 0 after --help and --version, or 2 for a usage
/// error, which has been reported in one line on standard error
[[nodiscard]] std::optional<int> parseOptions(CLI::App& app, int argc, const char* const* argv);

}  // namespace tn
