#pragma once

#include <optional>

#include "tnctl/session.h"

namespace tnctl {

/// Prints what the agent has done since it started, its plug-ins, whether the owners of its data answer, and how old
/// the data is. Throws Failure (kFailed) if the agent doesn't answer.
/// @param interval  in seconds: repeats, with rates since the last time, until the output can't be written. With --json
///                  each repetition is one line
void showStatus(const Session& session, std::optional<double> interval);

}  // namespace tnctl
