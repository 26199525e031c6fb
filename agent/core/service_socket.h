#pragma once

#include <cstdint>

namespace snmp {

/// Opens the UDP socket of the service, bound to every address of the machine: IPv6 and IPv4 together, or IPv4 alone on
/// a machine without IPv6. Each datagram then comes with the address that it was sent to (IP_PKTINFO, IPV6_PKTINFO).
/// @return the descriptor, which the caller closes; -1 with errno set
[[nodiscard]] int openServiceSocket(uint16_t port);

}  // namespace snmp
