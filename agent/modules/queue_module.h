#pragma once

namespace snmp {

/// Registers the vendor's two queue tables. Called once, by start_ip_module.
void startQueues();

}  // namespace snmp
