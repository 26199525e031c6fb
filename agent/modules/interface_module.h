#pragma once

namespace snmp {

/// Registers ifNumber, ifTable, ifXTable and the vendor's interface counters. Queries the current link states
/// (seedLinkStates) and adds the trap generator "interfaces". Called once, at startup.
void start_interface_module();

}  // namespace snmp
