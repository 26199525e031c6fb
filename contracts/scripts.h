#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {48, 101}: the scripts that a manager can run, which are the executable regular files in ROOT/tern/scripts.
/// hostd/services/scripts.h owns them. A script keeps its id while the owner's process runs, even if a set renames
/// it. One that is renamed in the folder gets a new id.
///
/// A set with Name renames a script. tn::error::Refused for a name that is empty, begins with a dot, contains a slash
/// or zero octet, or is in use.
namespace contracts::scripts {

inline constexpr std::array<uint32_t, 2> kPath = {48, 101};

/// Command: starts the script tn::field::ObjectId. The reply doesn't wait for its end. tn::error::NotFound if it
/// doesn't exist, tn::error::Refused, with the reason, if it can't or must not be started.
inline constexpr uint32_t kRun = 1;

inline constexpr tn::string_id Name{102};  ///< the file's name

}  // namespace contracts::scripts
