#pragma once

#include <cstdint>
#include <map>

namespace snmp {

/// Interface id to the last status bits reported; entries stay for the life of the process.
extern std::map<uint32_t, uint32_t> ifStateMap;

// The trap generator "interfaces": asks the interface owner for its status notifications, and stops asking.
void interfaceSubscribe();
void interfaceUnSubscribe();

}  // namespace snmp
