#pragma once

#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// Prints the settings (settingWords()). Communities, generators and interfaces are shown by name if they have one,
/// else by id.
void showSettings(const Session& session);
/// Changes the settings in the KEY=VALUE arguments. Nothing is changed unless all words can be parsed and all names
/// exist. Enabling the service prints who may read and write, and prompts if that includes all addresses
/// (confirmAccess).
void setSettings(const Session& session, const std::vector<std::string>& words);

}  // namespace tnctl
