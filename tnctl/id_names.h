#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tnctl/client.h"
#include "tnctl/session.h"

namespace tnctl {

/// What the ids of one kind of thing are called.
using IdNames = std::map<uint32_t, std::string>;

/// The trap generators of the agent. Ends the command (exit code 1) when the agent doesn't tell.
[[nodiscard]] IdNames generatorNames(const Client& client);
/// The interfaces of this machine. Ends the command (exit code 1) when their owner isn't there.
[[nodiscard]] IdNames interfaceNames(const Client& client);

/// The ids of names or ids. Ends the command (exit code 1) for what is neither.
/// @param what  what one of them is, for the error
[[nodiscard]] std::vector<uint32_t> idsCalled(const IdNames& names, std::string_view what,
                                              const std::vector<std::string>& namesOrIds);

/// Puts names in the place of the ids in a JSON array, as far as there are any; ids stay when nobody tells names.
void nameIds(Json& ids, IdNames (*ask)(const Client&), const Client& client);

}  // namespace tnctl
