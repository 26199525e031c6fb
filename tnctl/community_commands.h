#pragma once

#include <string>
#include <vector>

#include "tn/message.h"
#include "tnctl/client.h"
#include "tnctl/session.h"

namespace tnctl {

/// The community with this name, else the one with this id, as a reference into the list. Throws Failure (kFailed),
/// with the known names, if there is neither.
[[nodiscard]] const tn::message& communityCalled(const std::vector<tn::message>& communities,
                                                 const std::string& nameOrId);

/// Prints the table of communities. Passwords are *** without --secrets.
void listCommunities(const Session& session);
// Both parse KEY=VALUE arguments (communityWords()), refuse short passwords without --force (checkPasswords), prompt
// before granting access to all addresses (confirmAccess), send the change and print the new access. Nothing is changed
// unless all of that succeeds.
void addCommunity(const Session& session, const std::vector<std::string>& words);
void setCommunity(const Session& session, const std::string& nameOrId, const std::vector<std::string>& words);
/// Removes a community. The agent refuses to remove the default entry.
void removeCommunity(const Session& session, const std::string& nameOrId);

}  // namespace tnctl
