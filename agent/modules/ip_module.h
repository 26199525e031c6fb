#pragma once

namespace snmp {

/// Serves the ip group with its addresses, neighbours and routes (RFC 1213, RFC 2096), the web proxy's scalars of the
/// published cache MIB, and the vendor's queues. Called once, at start.
void start_ip_module();

}  // namespace snmp
