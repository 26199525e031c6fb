#pragma once

namespace snmp {

/// Registers the ip group with its addresses, ARP entries and routes (RFC 1213, RFC 2096), the web proxy scalars and
/// the vendor's queues. Called once, at startup.
void start_ip_module();

}  // namespace snmp
