#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/variable_binding.h"
#include "tn/message.h"

namespace snmp {

/// The interface owner's notification that an interface's status has changed.
constexpr uint32_t kStatusChanged = 0x10004;

/// Interface id to the last status bits reported. Above kMaxStates entries, interfaces that are down or gone are
/// dropped, lowest id first.
constexpr size_t kMaxStates = 1024;
extern std::map<uint32_t, uint32_t> ifStateMap;

/// The interfaces whose changes give traps, as the settings name them. Empty, or with 0 in it: every one.
extern std::set<uint32_t> interfaceFilter;

/// Notes the state of every interface that isn't known yet and gives traps, so that one that was down and tells so
/// after the agent's start makes no trap.
void seedLinkStates();

/// What the interface owner would have told while it was away: a kStatusChanged notification of each interface that
/// isn't any more as it was last known, up or down. One that is half way, with carrier and not operational or the other
/// way round, is left out: the owner tells what becomes of it. So is one that has gone. None, the states being seeded,
/// when the owner wasn't there to be asked at the agent's start.
[[nodiscard]] std::vector<tn::message> missedStatusChanges();

// The trap generator "interfaces": asks the interface owner for its status notifications, and stops asking.
void interfaceSubscribe();
void interfaceUnSubscribe();

/// linkUp and linkDown (RFC 2863), made of the interface owner's status notifications; one that tells nothing new makes
/// none. The names of the bindings carry no index: which interface it is stands in the value of ifIndex.
bool interfaceTrapMaker(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                        unsigned int& generic, unsigned int& specific);

}  // namespace snmp
