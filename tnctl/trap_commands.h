#pragma once

#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// Prints the trap generators, and which of them are on.
void listGenerators(const Session& session);

/// Asks the agent for a trap with the varbind that the words describe; without words one without a varbind.
void sendTrap(const Session& session, const std::vector<std::string>& words);

}  // namespace tnctl
