#pragma once

#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// Prints the trap generators of the agent, and which of them the settings switch on.
void listGenerators(const Session& session);

/// Sends the agent a request for a trap with the varbind that the KEY=VALUE arguments describe (trapWords()), without
/// arguments for one without a varbind. Throws Failure for a varbind that the agent would leave out (exit code 2), and
/// for settings with which it sends no traps (exit code 1): the agent itself reports neither.
void sendTrap(const Session& session, const std::vector<std::string>& words);

}  // namespace tnctl
