#pragma once

#include <CLI/CLI.hpp>

namespace tn {

/// Adds the options every daemon has, each with an effect of its own as it is read: --root DIR, --log
/// stderr|syslog|none, --version.
void addCommonOptions(CLI::App& app);

}  // namespace tn
