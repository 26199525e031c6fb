#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/variable_binding.h"
#include "tn/message.h"

namespace snmp {

/// Limit of ifStateMap. A new entry beyond it removes an entry of an interface that is down or gone: the one with the
/// lowest id. If all are up, the map grows.
constexpr size_t kMaxStates = 1024;
/// Interface id to the last known bits of contracts::interfaces::Status.
extern std::map<uint32_t, uint32_t> ifStateMap;

/// Ids of the interfaces that send link traps, from the settings. All do if it is empty or contains 0.
extern std::set<uint32_t> interfaceFilter;

/// Queries the owner for all interfaces and records the status of those that aren't known yet. An interface that is
/// down when the agent starts then sends no linkDown trap.
void seedLinkStates();

/// The status notifications that were missed while the interface owner was away: one for each interface that went up or
/// down. Interfaces that have gone are left out. So are those in a transitional state (carrier without being
/// operational, or the reverse), because the owner will report how it ends. If the states have never been seeded, seeds
/// them and returns nothing.
[[nodiscard]] std::vector<tn::message> missedStatusChanges();

/// True if linkUp and linkDown are sent for this interface: the generator "interfaces" is on, and the filter includes
/// the interface.
[[nodiscard]] bool areLinkTrapsSent(uint32_t interface);

// The trap generator "interfaces": subscribes to status notifications of the interface owner, and unsubscribes.
void interfaceSubscribe();
void interfaceUnSubscribe();

/// A TrapMaker for status notifications of the interface owner: linkUp and linkDown (RFC 2863). False for other
/// messages, for interfaces that the filter excludes, and for a status that was reported before. The names of the
/// varbinds have no instance, unless trapRules say so: the value of ifIndex identifies the interface (compat: 79).
bool interfaceTrapMaker(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                        unsigned int& generic, unsigned int& specific);

}  // namespace snmp
