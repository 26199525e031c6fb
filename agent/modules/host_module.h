#pragma once

namespace snmp {

/// Registers hrSystem, hrStorage and hrDevice (RFC 2790): date, uptime, main memory, disks and processors. Called
/// once, at startup.
void start_host_module();

}  // namespace snmp
