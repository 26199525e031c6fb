#pragma once

#include "agent/mib/columns.h"

/// IPv4 and IPv6 together: IP-MIB, IP-FORWARD-MIB, TCP-MIB and UDP-MIB (RFC 4293, 4292, 4022, 4113). An index of an
/// address is two objects: its type and its octets (RFC 4001).
namespace ip_mib {

constexpr auto kIp = snmp::under(snmp::kMib2, 4);
constexpr auto kIcmp = snmp::under(snmp::kMib2, 5);
constexpr auto kTcp = snmp::under(snmp::kMib2, 6);
constexpr auto kUdp = snmp::under(snmp::kMib2, 7);

using Octets = std::vector<unsigned char>;

// Called once, from autorun().
void startAddresses();   ///< ipAddressTable, ipAddressPrefixTable, ipNetToPhysicalTable
void startInterfaces();  ///< ipv4InterfaceTable, ipv6InterfaceTable, ipv6IpForwarding, ipv6IpDefaultHopLimit
void startStatistics();  ///< counters of ip and icmp, 64-bit scalars of tcp and udp
void startRoutes();      ///< inetCidrRouteTable, inetCidrRouteNumber, ipDefaultRouterTable
void startSockets();     ///< tcpConnectionTable, tcpListenerTable, udpEndpointTable

}  // namespace ip_mib
