#pragma once

#include "agent/mib/columns.h"

/// What MIB-II (RFC 1213) and the RFCs after it say about a host's protocols and its SNMP agent.
namespace mib2 {

// Called once, from autorun().
void startProtocols();  ///< ip, icmp, tcp, udp: the scalars
void startSockets();    ///< tcpConnTable, udpTable
void startSnmp();       ///< snmp, snmpEngine, snmpMPDStats, snmpUnknownContexts
void startModules();    ///< sysORTable

}  // namespace mib2
