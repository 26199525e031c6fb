#pragma once

namespace snmp {

/// Registers usmStats (RFC 3414, 5), the counters that Reports contain. Called once, at startup.
void start_usm_module();

}  // namespace snmp
