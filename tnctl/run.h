#pragma once

#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// Runs one command line through the process's looper, which must exist.
/// @param arguments  words without the program's name
/// @param console    its streams belong to the caller
/// @return an ExitCode. Except for kDone, the reason is one line on console.err
int run(const std::vector<std::string>& arguments, Console console);

}  // namespace tnctl
