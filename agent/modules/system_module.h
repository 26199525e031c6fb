#pragma once

namespace snmp {

/// Registers the system group, hrSystem, hrMemorySize and the vendor's system control.
void start_system_module();

}  // namespace snmp
