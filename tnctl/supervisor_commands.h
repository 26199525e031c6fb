#pragma once

#include <optional>
#include <string>

#include "tnctl/session.h"

namespace tnctl {

/// Prints the processes that have announced numbers to {1}.
void listProcesses(const Session& session);
/// Prints the changes in the undo journal {1, 1}, newest last.
void listUndo(const Session& session);
/// Undoes a change, and removes its record. Throws Failure, with the record unchanged: kFailed if there is no such
/// record or the owner refuses, kUsage if the id isn't a number.
/// @param id  of the record; nullopt for the newest
void undoChange(const Session& session, const std::optional<std::string>& id);

}  // namespace tnctl
