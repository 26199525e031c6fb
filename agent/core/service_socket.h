#pragma once

#include <cstdint>

namespace snmp {

/// Opens the UDP socket of the service, bound to all addresses of the machine: a dual-stack socket, or an IPv4 one on a
/// machine without IPv6. With each datagram it delivers the address that the datagram was sent to (IP_PKTINFO,
/// IPV6_PKTINFO).
/// @return the descriptor, which the caller closes; -1 with errno set on failure
[[nodiscard]] int openServiceSocket(uint16_t port);

/// Name of the service's socket among inherited descriptors (FileDescriptorName= of systemd.socket(5)).
inline constexpr const char* kServiceSocketName = "snmp";

/// The bound UDP socket that the service manager opened for the service, for IPv4 or for both versions. While the agent
/// restarts, datagrams wait in its buffer.
/// @return the descriptor, which stays open as long as the process; -1 if there is none. Descriptors that aren't UDP
///         sockets, and all sockets but the first, are left alone, with one line each on standard error
[[nodiscard]] int inheritedServiceSocket();
/// The port that a UDP socket is bound to; 0 if it isn't one.
[[nodiscard]] uint16_t portOf(int fd);
/// Drops the datagrams that wait to be received.
void discardDatagrams(int fd);

}  // namespace snmp
