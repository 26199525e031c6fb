#pragma once

#include <cstdint>

namespace snmp {

/// Opens the UDP socket of the service, bound to all addresses of the machine: a dual-stack socket, or an IPv4 one on a
/// machine without IPv6. With each datagram it delivers the address that the datagram was sent to (IP_PKTINFO,
/// IPV6_PKTINFO).
/// @return the descriptor, which the caller closes; -1 with errno set on failure
[[nodiscard]] int openServiceSocket(uint16_t port);

}  // namespace snmp
