#pragma once

#include <span>

#include "tnctl/words.h"

namespace tnctl {

// The words of `snmp set`, of `snmp community add` and `set`, and of `snmp trap send`, in the order of listings and
// help. Static storage.

/// One word for each row of contracts::snmp::kSettings that has a name.
[[nodiscard]] std::span<const Word> settingWords();
[[nodiscard]] std::span<const Word> communityWords();
/// Those of `snmp user add`: communityWords() without the name.
[[nodiscard]] std::span<const Word> userWords();
[[nodiscard]] std::span<const Word> trapWords();

}  // namespace tnctl
