#pragma once

#include <span>

#include "tnctl/client.h"
#include "tnctl/words.h"

namespace tnctl {

/// Where the agent's settings and its communities live.
[[nodiscard]] const Path& settingsPath();
[[nodiscard]] const Path& communitiesPath();

/// The words of `snmp set` and of `snmp community add` and `set`, in the order in which they are shown.
[[nodiscard]] std::span<const Word> settingWords();
[[nodiscard]] std::span<const Word> communityWords();

}  // namespace tnctl
