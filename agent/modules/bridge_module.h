#pragma once

namespace snmp {

/// Registers the objects of BRIDGE-MIB (RFC 4188) for one bridge, the one with the lowest ifindex: its address,
/// spanning tree priority and forwarding table. Called once, at startup.
void start_bridge_module();

}  // namespace snmp
