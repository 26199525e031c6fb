#pragma once

namespace snmp {

/// Registers the objects of BRIDGE-MIB (RFC 4188) for one bridge, the one with the lowest ifindex: its address,
/// spanning tree priority and forwarding table. Without a bridge, only dot1dStpProtocolSpecification is served. Called
/// once, at startup.
void start_bridge_module();

}  // namespace snmp
