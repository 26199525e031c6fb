#pragma once

#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// Runs one command line (without the program's name) through the process's looper.
/// @return an ExitCode: 0, 1 after an error reply, 2 after a wrong word; then one line stands on console.err
int run(const std::vector<std::string>& arguments, Console console);

}  // namespace tnctl
