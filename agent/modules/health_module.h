#pragma once

namespace snmp {

/// Serves the vendor's hardware health scalars. A reading has an object only once its owner has reported it: boards
/// without the sensor show nothing. Called once, at start.
void start_health_module();

}  // namespace snmp
