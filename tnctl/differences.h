#pragma once

#include <string>
#include <vector>

#include "tnctl/configuration.h"

namespace tnctl {

/// What differs between two configurations, one line each: "contact: noc -> hello". Passwords aren't shown.
[[nodiscard]] std::vector<std::string> differences(const Configuration& before, const Configuration& after,
                                                   const ReferenceNames& names);

/// What the change of an undo record did, in the same form. Empty for changes of other owners than the agent.
/// @param record  with contracts::undo_journal's New and Old
[[nodiscard]] std::vector<std::string> differencesOf(const tn::message& record, const ReferenceNames& names);

}  // namespace tnctl
