#pragma once

#include <span>

#include "tnctl/client.h"
#include "tnctl/words.h"

namespace tnctl {

/// Where the agent's settings, its communities and its list of trap generators live.
[[nodiscard]] const Path& settingsPath();
[[nodiscard]] const Path& communitiesPath();
[[nodiscard]] const Path& generatorsPath();

/// The words of `snmp set`, of `snmp community add` and `set`, and of `snmp trap send`, in the order in which they are
/// shown.
[[nodiscard]] std::span<const Word> settingWords();
[[nodiscard]] std::span<const Word> communityWords();
[[nodiscard]] std::span<const Word> trapWords();

}  // namespace tnctl
