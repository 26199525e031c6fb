#pragma once

#include <string>

#include "tnctl/session.h"

namespace tnctl {

// The plug-ins of the agent: `tnctl plugin`. All throw Failure as Client does.

/// Prints each plug-in that the agent found when it started: its state, why it was refused, and what it serves.
void listPlugins(const Session& session);

/// Makes the agent load a plug-in or not, from its next start on, and says so.
/// @param name  of the plug-in's file, without ".so". Throws Failure (kFailed) if there is no such plug-in
void switchPlugin(const Session& session, const std::string& name, bool isEnabled);

}  // namespace tnctl
