#pragma once

#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// Prints the settings (settingWords()), communities, generators and interfaces by name as far as they have one.
void showSettings(const Session& session);
/// Sets what the KEY=VALUE arguments name. Nothing is sent before all words were read and all names found. Switching
/// the service on prints who may read and write, and asks when that is every source (confirmAccess).
void setSettings(const Session& session, const std::vector<std::string>& words);

}  // namespace tnctl
