#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// The sockets of TCP and UDP. hostd/inet/sockets.h owns them, from sock_diag(7). For the plug-ins mib2 and ip-mib.
///
/// - {24, 1031}: TCP over IPv4, keyed and ordered by LocalIPv4, LocalPort, RemoteIPv4, RemotePort.
/// - {24, 1032}: UDP over IPv4, keyed and ordered by LocalIPv4, LocalPort. Several sockets with one key are one row.
/// - {24, 1050}: TCP connections, keyed and ordered by LocalType to RemotePort.
/// - {24, 1051}: TCP listeners, keyed and ordered by LocalType to LocalPort. Several with one key are one row.
/// - {24, 1052}: UDP endpoints, keyed and ordered by LocalType to Instance.
///
/// Addresses have the types and octets of INET-ADDRESS-MIB (RFC 4001). An IPv4 address that is mapped to IPv6 is shown
/// as IPv4. A listener or endpoint of all IPv4 and IPv6 addresses has the type unknown; {24, 1031} and {24, 1032} show
/// it as 0.0.0.0. So has the remote end of an endpoint that isn't connected.
namespace contracts::sockets {

inline constexpr std::array<uint32_t, 2> kTcpIPv4Path = {24, 1031};
inline constexpr std::array<uint32_t, 2> kUdpIPv4Path = {24, 1032};
inline constexpr std::array<uint32_t, 2> kConnectionsPath = {24, 1050};
inline constexpr std::array<uint32_t, 2> kListenersPath = {24, 1051};
inline constexpr std::array<uint32_t, 2> kEndpointsPath = {24, 1052};

// Fields

inline constexpr tn::u32_id LocalType{1};      ///< key; InetAddressType
inline constexpr tn::raw_id LocalAddress{2};   ///< key; InetAddress
inline constexpr tn::u32_id LocalPort{3};      ///< key
inline constexpr tn::u32_id RemoteType{4};     ///< key; InetAddressType
inline constexpr tn::raw_id RemoteAddress{5};  ///< key; InetAddress
inline constexpr tn::u32_id RemotePort{6};     ///< key
inline constexpr tn::u32_id Instance{7};       ///< key: distinguishes endpoints; the socket's inode
inline constexpr tn::be32_id LocalIPv4{8};     ///< key
inline constexpr tn::be32_id RemoteIPv4{9};    ///< key
inline constexpr tn::u32_id State{10};         ///< tcpConnState; 0 for UDP
inline constexpr tn::u32_id Process{11};  ///< pid of a process that has it open; 0 if there is none, or it is hidden

}  // namespace contracts::sockets
