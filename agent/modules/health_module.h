#pragma once

namespace snmp {

/// Registers the vendor's hardware health scalars. A scalar is served once its owner has reported the value, so boards
/// without the sensor don't have it. Called once, at startup.
void start_health_module();

}  // namespace snmp
