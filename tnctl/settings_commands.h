#pragma once

#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

void showSettings(const Session& session);
void setSettings(const Session& session, const std::vector<std::string>& words);

}  // namespace tnctl
