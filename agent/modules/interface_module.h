#pragma once

namespace snmp {

/// Registers ifNumber, ifTable, ifXTable and the vendor's interface counters, seeds the link states and adds the trap
/// generator "interfaces".
void start_interface_module();

}  // namespace snmp
