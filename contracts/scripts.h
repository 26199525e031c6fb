#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {48, 101}: the scripts that a manager can run. hostd/services/scripts.h owns them: the executable regular files of
/// ROOT/tern/scripts. A script keeps its id, renamed or not, while the owner's process runs.
///
/// A set with Name renames a script. tn::error::Refused for a name that is empty, begins with a dot, has a slash or a
/// zero octet, or is taken.
namespace contracts::scripts {

inline constexpr std::array<uint32_t, 2> kPath = {48, 101};

/// Command: starts the script tn::field::ObjectId. The reply comes as soon as it runs. tn::error::NotFound when there
/// is none, tn::error::Refused when it can't or must not be started; the text of the error says why.
inline constexpr uint32_t kRun = 1;

inline constexpr tn::string_id Name{102};  ///< the file's name

}  // namespace contracts::scripts
