#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tn/address.h"
#include "tn/message.h"
#include "tnctl/session.h"

namespace tnctl {

/// What a community permits, and to which sources.
struct Access {
    std::string name;
    bool read = true;
    bool write = false;
    uint32_t security = 0;            ///< one of contracts::snmp::security
    std::vector<tn::IPPrefix6> from;  ///< empty: no source, the state of the fresh default entry

    /// Permits something to some source.
    [[nodiscard]] bool grants() const { return (read || write) && !from.empty(); }
    /// Permits something to every IPv4 or every IPv6 source.
    [[nodiscard]] bool toEveryone() const;
    /// One line: "monitor may read from 127.0.0.0/8,::1/128 with SNMPv1, v2c or v3"
    [[nodiscard]] std::string text() const;
};

/// The access that an entry of the community list gives now.
[[nodiscard]] Access accessOf(const tn::message& entry);

/// The access that it gives once the agent has applied `change`: an address list that is still empty then becomes
/// 0.0.0.0/0.
/// @param entry   as listed now; empty for an entry to be added
/// @param change  the fields of a Set or Add request
[[nodiscard]] Access accessAfter(const tn::message& entry, const tn::message& change);

/// Asks for confirmation when one of these lets every source in. Throws Failure when the answer isn't yes, and when
/// there is no terminal to ask at; with --yes it doesn't ask.
/// @return whether the access was printed with the question
bool confirmAccess(const Session& session, const std::vector<Access>& accesses);

/// Prints these, one line each or as a JSON array.
void printAccess(const Session& session, const std::vector<Access>& accesses);

}  // namespace tnctl
