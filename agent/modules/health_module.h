#pragma once

namespace snmp {

/// Registers the vendor's hardware health scalars. Voltage and temperatures are served once their owner has reported
/// them (compat: 76), so a board without the sensor doesn't have the object. Called once, at startup.
void start_health_module();

}  // namespace snmp
