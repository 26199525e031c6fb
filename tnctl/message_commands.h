#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// Sends any command to any path and prints the fields of the reply, passwords as *** unless --secrets. An error reply
/// ends it with exit code 1.
/// @param path     numbers with commas between ("24,2")
/// @param command  a number or a name of tnctl/names.h
/// @param fields   see parseFields
void sendMessage(const Session& session, const std::string& path, const std::string& command,
                 const std::vector<std::string>& fields);

/// Prints the notifications of a path until the loop ends (Ctrl-C) or standard output can't be written. Continues when
/// the owner restarts, and waits, with a line on standard error, for an owner that isn't up. A path that its process
/// doesn't serve ends it at once with exit code 1.
/// @param notification  number or name; cmd::Changed by default
void watch(const Session& session, const std::string& path, const std::optional<std::string>& notification);

}  // namespace tnctl
