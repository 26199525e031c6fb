#pragma once

namespace snmp {

/// Serves hrSystem, hrStorage and hrDevice (RFC 2790): date, uptime, main memory, disks and processors. Called once, at
/// start.
void start_host_module();

}  // namespace snmp
