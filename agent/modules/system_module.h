#pragma once

namespace snmp {

/// Registers the system group (RFC 3418). sysDescr and sysObjectID are read here, once; sysContact and sysLocation are
/// the agent's own settings. Called once, at startup, with the looper running its handlers.
void start_system_module();

}  // namespace snmp
