#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tnctl/client.h"
#include "tnctl/session.h"

namespace tnctl {

/// Ids of one kind of object, with their names.
using IdNames = std::map<uint32_t, std::string>;

// Both query the owner, and throw Failure (exit code 1) when it doesn't answer.

/// The trap generators of the agent.
[[nodiscard]] IdNames generatorNames(const Client& client);
/// The interfaces of this machine.
[[nodiscard]] IdNames interfaceNames(const Client& client);

/// The ids of objects given by name or by id, in the same order. A number that is no name is an id, known or not.
/// Throws Failure (exit code 1) for any other text.
/// @param what  the kind of object, for the error text ("interface")
[[nodiscard]] std::vector<uint32_t> idsCalled(const IdNames& names, std::string_view what,
                                              const std::vector<std::string>& namesOrIds);

/// Replaces the ids in a JSON array by their names. Ids without a name stay, all of them if `ask` fails; `ask` isn't
/// called for an empty array or another kind of value.
void nameIds(Json& ids, IdNames (*ask)(const Client&), const Client& client);

}  // namespace tnctl
