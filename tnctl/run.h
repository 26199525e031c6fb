#pragma once

#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// Runs one command line through the process's looper, which must exist.
/// @param arguments  without the program's name
/// @param console    streams to read and write; must outlive the call
/// @return an ExitCode; unless it is kDone, one line on console.err says why
int run(const std::vector<std::string>& arguments, Console console);

}  // namespace tnctl
