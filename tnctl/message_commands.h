#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// Sends any command to any path and prints the fields of the reply, with passwords as *** without --secrets. Throws
/// Failure: kUsage if an argument can't be parsed, kFailed for an error reply.
/// @param path     numbers separated by commas ("24,2")
/// @param command  a number or a name of tnctl/names.h
/// @param fields   see parseFields
void sendMessage(const Session& session, const std::string& path, const std::string& command,
                 const std::vector<std::string>& fields);

/// Prints the notifications of a path until the loop ends (Ctrl-C) or standard output can't be written. Waits for an
/// absent owner, with a line on standard error, and continues when the owner restarts. Throws Failure (kFailed) if the
/// owner's process doesn't serve the path.
/// @param notification  number or name; nullopt for cmd::Changed
void watch(const Session& session, const std::string& path, const std::optional<std::string>& notification);

}  // namespace tnctl
