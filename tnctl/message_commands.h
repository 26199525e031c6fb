#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// Sends any command to any path and prints the fields of the reply.
void sendMessage(const Session& session, const std::string& path, const std::string& command,
                 const std::vector<std::string>& fields);

/// Prints notifications of a path as they come, until the loop is ended from outside (Ctrl-C) or standard output is
/// gone. Goes on when the owner restarts, and waits for it when it isn't there.
/// @param notification  number or name; cmd::Changed when it isn't given
void watch(const Session& session, const std::string& path, const std::optional<std::string>& notification);

}  // namespace tnctl
