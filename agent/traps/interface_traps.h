#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/variable_binding.h"
#include "tn/message.h"

namespace snmp {

/// Interface id to the last status bits reported. Above kMaxStates entries, interfaces that are down or gone are
/// dropped, lowest id first.
constexpr size_t kMaxStates = 1024;
extern std::map<uint32_t, uint32_t> ifStateMap;

/// The interfaces whose changes give traps, as the settings name them. Empty, or with 0 in it: every one.
extern std::set<uint32_t> interfaceFilter;

/// Records the state of every interface that gives traps and isn't known yet, so that one which was down at the agent's
/// start makes no linkDown trap.
void seedLinkStates();

/// The status notifications missed while the interface owner was away: one for each interface that has gone up or down
/// since it was last known. Left out are interfaces that have gone, and those in a transitional state (with carrier and
/// not operational, or the reverse), whose outcome the owner reports. None if the owner was unreachable at the agent's
/// start; the states are then seeded.
[[nodiscard]] std::vector<tn::message> missedStatusChanges();

// The trap generator "interfaces": subscribes to the interface owner's status notifications, and unsubscribes.
void interfaceSubscribe();
void interfaceUnSubscribe();

/// Makes linkUp and linkDown (RFC 2863) from the interface owner's status notifications. False, with no trap, for other
/// messages, for interfaces that the filter excludes, and for a status already reported. The names of the bindings
/// carry no index: the value of ifIndex identifies the interface.
bool interfaceTrapMaker(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                        unsigned int& generic, unsigned int& specific);

}  // namespace snmp
