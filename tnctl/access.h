#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tn/address.h"
#include "tn/message.h"
#include "tnctl/session.h"

namespace tnctl {

/// What one community lets whom do.
struct Access {
    std::string name;
    bool read = true;
    bool write = false;
    uint32_t security = 0;
    std::vector<tn::IPPrefix6> from;  ///< empty: nobody, the state of the fresh default entry

    [[nodiscard]] bool grants() const { return (read || write) && !from.empty(); }
    /// Grants something to every IPv4 or every IPv6 source.
    [[nodiscard]] bool toEveryone() const;
    /// "monitor may read from 127.0.0.0/8,::1/128 with SNMPv1, v2c or v3"
    [[nodiscard]] std::string text() const;
};

/// The access a community gives as it stands.
[[nodiscard]] Access accessOf(const tn::message& entry);

/// The access it will give once the fields of `change` have been set: as the agent does, an address list that is still
/// empty then becomes 0.0.0.0/0. An empty `entry` is one that will be added.
[[nodiscard]] Access accessAfter(const tn::message& entry, const tn::message& change);

/// Makes sure that letting everyone in is meant: with nobody at a terminal and no --yes, or when the answer isn't yes,
/// the command ends here.
/// @return whether the access was already told while asking
bool confirmAccess(const Session& session, const std::vector<Access>& accesses);

/// Prints who may read and write from where, as lines or as JSON.
void printAccess(const Session& session, const std::vector<Access>& accesses);

}  // namespace tnctl
