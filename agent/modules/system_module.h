#pragma once

namespace snmp {

/// Registers the system group (RFC 3418). sysDescr and sysObjectID are read here, once. If the owner of sysDescr can't
/// be reached, sysDescr lacks the version until the next start (compat: 78). sysContact and sysLocation are settings of
/// the agent. Called once, at startup, after the owners in the same process were added to the looper.
void start_system_module();

}  // namespace snmp
