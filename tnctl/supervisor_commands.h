#pragma once

#include <optional>
#include <string>

#include "tnctl/session.h"

namespace tnctl {

/// Prints the processes that announced themselves to {1}.
void listProcesses(const Session& session);
/// Prints the changes in the undo journal {1, 1}, newest last.
void listUndo(const Session& session);
/// Undoes a change: the newest, or the one with this id in the journal. Its record is removed afterwards; it stays when
/// the owner refuses (Failure, exit code 1).
void undoChange(const Session& session, const std::optional<std::string>& id);

}  // namespace tnctl
