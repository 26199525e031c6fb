#pragma once

#include <optional>
#include <string>

#include "tnctl/session.h"

namespace tnctl {

void listProcesses(const Session& session);
void listUndo(const Session& session);
/// Takes a change back: the newest, or the one with this id in the journal.
void undoChange(const Session& session, const std::optional<std::string>& id);

}  // namespace tnctl
