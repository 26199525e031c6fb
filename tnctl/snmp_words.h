#pragma once

#include <span>

#include "tnctl/words.h"

namespace tnctl {

// The words of `snmp set`, of `snmp community add` and `set`, and of `snmp trap send`, in the order in which they are
// shown. Static storage.

/// Made of contracts::snmp::kSettings: a new row there is a new word here.
[[nodiscard]] std::span<const Word> settingWords();
[[nodiscard]] std::span<const Word> communityWords();
[[nodiscard]] std::span<const Word> trapWords();

}  // namespace tnctl
