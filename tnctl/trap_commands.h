#pragma once

#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// Prints the trap generators of the agent, and whether the settings enable them.
void listGenerators(const Session& session);

/// Requests a trap from the agent. The KEY=VALUE arguments (trapWords()) describe its varbind; without arguments it
/// has none. Throws Failure for two mistakes that the agent doesn't report: kUsage for a varbind that the agent would
/// omit, kFailed for settings with which the agent sends no traps.
void sendTrap(const Session& session, const std::vector<std::string>& words);

}  // namespace tnctl
