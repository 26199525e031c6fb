#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tnctl/words.h"

namespace tnctl {

// Candidates for completion by shells. Owners are queried for names; if they don't answer soon, there are none.

/// Assignments that can begin like `typed`: KEY= or, once the key is typed, KEY=VALUE.
[[nodiscard]] std::vector<std::string> completeWord(std::span<const Word> words, std::string_view typed);
/// The names of communities and users.
[[nodiscard]] std::vector<std::string> completeEntry();

}  // namespace tnctl
