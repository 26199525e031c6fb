#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// Adds an SNMPv3 user with the level private, SHA-256 and AES-128 unless the words say otherwise, and prints its
/// access and the line for Debian's client. Nothing is changed if the engine id isn't set, the name exists, or a
/// password is too short. A note on standard error says if the service is off.
/// @param words          KEY=VALUE arguments (userWords())
/// @param passwordsFrom  file with one password on each line (fillPasswords); without it, they are typed
void addUser(const Session& session, const std::string& name, const std::vector<std::string>& words,
             const std::optional<std::string>& passwordsFrom);

/// Prints one entry, and what managers need to query the agent as this entry (clientLines). Without --secrets,
/// passwords are *** and placeholders.
void showEntry(const Session& session, const std::string& nameOrId);

}  // namespace tnctl
