#pragma once

#include <string>
#include <vector>

#include "tn/message.h"
#include "tnctl/client.h"
#include "tnctl/session.h"

namespace tnctl {

/// The community of that name, else the one with that id. Ends the command (exit code 1) when there is neither.
[[nodiscard]] const tn::message& communityCalled(const std::vector<tn::message>& communities,
                                                 const std::string& nameOrId);

void listCommunities(const Session& session);
void addCommunity(const Session& session, const std::vector<std::string>& words);
void setCommunity(const Session& session, const std::string& nameOrId, const std::vector<std::string>& words);
void removeCommunity(const Session& session, const std::string& nameOrId);

}  // namespace tnctl
