#pragma once

namespace snmp {

/// Registers the system group, hrSystem, hrStorage, hrDevice and the vendor's system control, scripts and neighbours.
void start_system_module();

}  // namespace snmp
