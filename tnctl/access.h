#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tn/address.h"
#include "tn/message.h"
#include "tnctl/session.h"

namespace tnctl {

/// The access that a community grants, and to which sources.
struct Access {
    std::string name;
    bool read = true;
    bool write = false;
    uint32_t security = 0;  ///< one of contracts::snmp::security
    bool limited = false;   ///< to a part of the tree (contracts::snmp::community::Views)
    /// Accepted sources. A new default entry has none, and refuses every source, until it is edited or the agent
    /// restarts.
    std::vector<tn::IPPrefix6> from;

    /// Whether it permits anything to any source.
    [[nodiscard]] bool grants() const { return (read || write) && !from.empty(); }
    /// Whether it permits anything to all IPv4 or all IPv6 sources.
    [[nodiscard]] bool toEveryone() const;
    /// One line: "monitor may read from 127.0.0.0/8,::1/128 with SNMPv1, v2c or v3"
    [[nodiscard]] std::string text() const;
};

/// The access that an entry of the community list grants now.
[[nodiscard]] Access accessOf(const tn::message& entry);

/// The access that an entry grants after the agent has applied `change`. If its address list is still empty then, the
/// agent makes it 0.0.0.0/0.
/// @param entry   as listed now; empty for an entry to be added
/// @param change  the fields of a Set or Add request
[[nodiscard]] Access accessAfter(const tn::message& entry, const tn::message& change);

/// Prompts for confirmation if one of these grants access to all addresses, unless --yes was given. Throws Failure if
/// the answer isn't yes (kFailed) or there is no terminal (kUsage).
/// @return true if the access was printed with the prompt
bool confirmAccess(const Session& session, const std::vector<Access>& accesses);

/// Prompts for confirmation before the engine id changes if one of these entries needs authentication, as confirmAccess
/// does.
void confirmEngineId(const Session& session, const std::vector<tn::message>& entries);

/// Prints the access, one line each or as a JSON array.
void printAccess(const Session& session, const std::vector<Access>& accesses);

}  // namespace tnctl
