#pragma once

namespace snmp {

/// Serves the part of BRIDGE-MIB (RFC 4188) that there is of one bridge, the first interface of that kind: its address,
/// its spanning tree priority and its forwarding table. Called once, at start.
void start_bridge_module();

}  // namespace snmp
