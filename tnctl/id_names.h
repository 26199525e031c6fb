#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tnctl/client.h"
#include "tnctl/session.h"

namespace tnctl {

/// Names of objects of one kind, by id.
using IdNames = std::map<uint32_t, std::string>;

// All query the owner, and throw Failure (kFailed) if it doesn't answer.

/// The trap generators of the agent.
[[nodiscard]] IdNames generatorNames(const Client& client);
/// Communities and users. Their names are secrets: fails for a caller who may only read.
[[nodiscard]] IdNames communityNames(const Client& client);
/// The interfaces of this machine.
[[nodiscard]] IdNames interfaceNames(const Client& client);

/// The ids of objects that are given by name or id, in the same order. A number that isn't a name is an id, which
/// needn't exist. Throws Failure (kFailed) for any other text.
/// @param what  kind of object for the error text ("interface")
[[nodiscard]] std::vector<uint32_t> idsCalled(const IdNames& names, std::string_view what,
                                              const std::vector<std::string>& namesOrIds);

/// Replaces an id, or the ids in a JSON array, with their names. An id without a name stays; all stay if `ask` throws
/// Failure. Does nothing for an empty array or a value of another type.
/// @param ask  queries the owner for the names
void nameIds(Json& ids, IdNames (*ask)(const Client&), const Client& client);

}  // namespace tnctl
