#pragma once

namespace snmp {

/// Registers usmStats (RFC 3414, 5), the counters that Reports carry.
void start_usm_module();

}  // namespace snmp
