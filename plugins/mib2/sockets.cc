// The sockets of IPv4 (RFC 1213). For those of IPv6, RFC 4022 and RFC 4113 have other tables.
//
//     tcpConnTable    INDEX { tcpConnLocalAddress, tcpConnLocalPort, tcpConnRemAddress, tcpConnRemPort }
//     udpTable        INDEX { udpLocalAddress, udpLocalPort }

#include "contracts/sockets.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/object_class.h"
#include "mib2.h"

namespace mib2 {

namespace {

namespace sockets = contracts::sockets;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

struct Socket : snmp::Data {
    unsigned int local = 0, remote = 0;  // addresses
    unsigned int localPort = 0, remotePort = 0;
    unsigned int state = 0;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Socket>();
        record->local = m.get_be32(sockets::LocalIPv4);
        record->remote = m.get_be32(sockets::RemoteIPv4);
        record->localPort = m.get_u32(sockets::LocalPort);
        record->remotePort = m.get_u32(sockets::RemotePort);
        record->state = m.get_u32(sockets::State);
        return record;
    }
};

constexpr auto kTcpConnEntry = snmp::under(snmp::kMib2, 6, 13, 1);
constexpr snmp::Column<Socket> kTcpConnColumns[] = {
    {1, "tcpConnState", tag::Integer, &Socket::state},
    {2, "tcpConnLocalAddress", tag::IpAddress, &Socket::local},
    {3, "tcpConnLocalPort", tag::Integer, &Socket::localPort},
    {4, "tcpConnRemAddress", tag::IpAddress, &Socket::remote},
    {5, "tcpConnRemPort", tag::Integer, &Socket::remotePort},
};
static_assert(ascending(kTcpConnColumns));

constexpr auto kUdpEntry = snmp::under(snmp::kMib2, 7, 5, 1);
constexpr snmp::Column<Socket> kUdpColumns[] = {
    {1, "udpLocalAddress", tag::IpAddress, &Socket::local},
    {2, "udpLocalPort", tag::Integer, &Socket::localPort},
};
static_assert(ascending(kUdpColumns));

}  // namespace

void startSockets() {
    auto* connections = snmp::keep<snmp::GetAllProvider>(sockets::kTcpIPv4Path, snmp::oneRow<Socket::build>, kWhole);
    snmp::MapTable* tcp = snmp::keepTable(connections, {{kTcpConnColumns[1], sockets::LocalIPv4.number},
                                                        {kTcpConnColumns[2], sockets::LocalPort.number},
                                                        {kTcpConnColumns[3], sockets::RemoteIPv4.number},
                                                        {kTcpConnColumns[4], sockets::RemotePort.number}});
    snmp::addTable(snmp::OID(kTcpConnEntry), "tcpConnEntry", tcp, kTcpConnColumns);

    auto* endpoints = snmp::keep<snmp::GetAllProvider>(sockets::kUdpIPv4Path, snmp::oneRow<Socket::build>, kWhole);
    snmp::MapTable* udp = snmp::keepTable(
        endpoints, {{kUdpColumns[0], sockets::LocalIPv4.number}, {kUdpColumns[1], sockets::LocalPort.number}});
    snmp::addTable(snmp::OID(kUdpEntry), "udpEntry", udp, kUdpColumns);
}

}  // namespace mib2
