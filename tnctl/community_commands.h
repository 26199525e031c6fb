#pragma once

#include <string>
#include <vector>

#include "tn/message.h"
#include "tnctl/client.h"
#include "tnctl/session.h"

namespace tnctl {

/// The community of that name, else the one with that id; a reference into the list. Throws Failure (exit code 1), with
/// the known names, when there is neither.
[[nodiscard]] const tn::message& communityCalled(const std::vector<tn::message>& communities,
                                                 const std::string& nameOrId);

/// Prints the table of communities, passwords as *** unless --secrets.
void listCommunities(const Session& session);
// KEY=VALUE arguments, see communityWords(). They refuse passwords that are too short unless --force, and ask before
// letting every source in (confirmAccess). Nothing is sent before all words were read and all questions answered. Then
// they print the new access.
void addCommunity(const Session& session, const std::vector<std::string>& words);
void setCommunity(const Session& session, const std::string& nameOrId, const std::vector<std::string>& words);
/// The default entry can't be removed; the agent refuses.
void removeCommunity(const Session& session, const std::string& nameOrId);

}  // namespace tnctl
