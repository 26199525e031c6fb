// The sockets of TCP (RFC 4022) and UDP (RFC 4113).
//
//     tcpConnectionTable    INDEX { LocalAddressType, LocalAddress, LocalPort, RemAddressType, RemAddress, RemPort }
//     tcpListenerTable      INDEX { LocalAddressType, LocalAddress, LocalPort }
//     udpEndpointTable      INDEX { as tcpConnectionTable, udpEndpointInstance }

#include "contracts/sockets.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/object_class.h"
#include "ip_mib.h"

namespace ip_mib {

namespace {

namespace sockets = contracts::sockets;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

struct Socket : snmp::Data {
    unsigned int localType = 0, remoteType = 0;  // InetAddressType
    Octets local, remote;
    unsigned int localPort = 0, remotePort = 0;
    unsigned int instance = 0;  // inode
    unsigned int state = 0;
    unsigned int process = 0;  // pid
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Socket>();
        record->localType = m.get_u32(sockets::LocalType);
        record->local = m.get_raw(sockets::LocalAddress);
        record->localPort = m.get_u32(sockets::LocalPort);
        record->remoteType = m.get_u32(sockets::RemoteType);
        record->remote = m.get_raw(sockets::RemoteAddress);
        record->remotePort = m.get_u32(sockets::RemotePort);
        record->instance = m.get_u32(sockets::Instance);
        record->state = m.get_u32(sockets::State);
        record->process = m.get_u32(sockets::Process);
        return record;
    }
};

using Column = snmp::Column<Socket>;

constexpr auto kConnectionEntry = snmp::under(kTcp, 19, 1);
constexpr Column kConnectionIndexes[] = {
    // not accessible
    {1, "tcpConnectionLocalAddressType", tag::Integer, &Socket::localType},
    {2, "tcpConnectionLocalAddress", tag::OctetString, &Socket::local},
    {3, "tcpConnectionLocalPort", tag::Gauge32, &Socket::localPort},
    {4, "tcpConnectionRemAddressType", tag::Integer, &Socket::remoteType},
    {5, "tcpConnectionRemAddress", tag::OctetString, &Socket::remote},
    {6, "tcpConnectionRemPort", tag::Gauge32, &Socket::remotePort},
};
constexpr Column kConnectionColumns[] = {
    {7, "tcpConnectionState", tag::Integer, &Socket::state},
    {8, "tcpConnectionProcess", tag::Gauge32, &Socket::process},
};
static_assert(ascending(kConnectionColumns));

constexpr auto kListenerEntry = snmp::under(kTcp, 20, 1);
constexpr Column kListenerIndexes[] = {
    // not accessible
    {1, "tcpListenerLocalAddressType", tag::Integer, &Socket::localType},
    {2, "tcpListenerLocalAddress", tag::OctetString, &Socket::local},
    {3, "tcpListenerLocalPort", tag::Gauge32, &Socket::localPort},
};
constexpr Column kListenerColumns[] = {
    {4, "tcpListenerProcess", tag::Gauge32, &Socket::process},
};

constexpr auto kEndpointEntry = snmp::under(kUdp, 7, 1);
constexpr Column kEndpointIndexes[] = {
    // not accessible
    {1, "udpEndpointLocalAddressType", tag::Integer, &Socket::localType},
    {2, "udpEndpointLocalAddress", tag::OctetString, &Socket::local},
    {3, "udpEndpointLocalPort", tag::Gauge32, &Socket::localPort},
    {4, "udpEndpointRemoteAddressType", tag::Integer, &Socket::remoteType},
    {5, "udpEndpointRemoteAddress", tag::OctetString, &Socket::remote},
    {6, "udpEndpointRemotePort", tag::Gauge32, &Socket::remotePort},
    {7, "udpEndpointInstance", tag::Gauge32, &Socket::instance},
};
constexpr Column kEndpointColumns[] = {
    {8, "udpEndpointProcess", tag::Gauge32, &Socket::process},
};

}  // namespace

void startSockets() {
    const auto rowsOf = [](std::span<const uint32_t> path) {
        return snmp::keep<snmp::GetAllProvider>(path, snmp::oneRow<Socket::build>, kWhole);
    };
    snmp::MapTable* connections =
        snmp::keepTable(rowsOf(sockets::kConnectionsPath), {{kConnectionIndexes[0], sockets::LocalType.number},
                                                            {kConnectionIndexes[1], sockets::LocalAddress.number},
                                                            {kConnectionIndexes[2], sockets::LocalPort.number},
                                                            {kConnectionIndexes[3], sockets::RemoteType.number},
                                                            {kConnectionIndexes[4], sockets::RemoteAddress.number},
                                                            {kConnectionIndexes[5], sockets::RemotePort.number}});
    snmp::addTable(snmp::OID(kConnectionEntry), "tcpConnectionEntry", connections, kConnectionColumns);

    snmp::MapTable* listeners =
        snmp::keepTable(rowsOf(sockets::kListenersPath), {{kListenerIndexes[0], sockets::LocalType.number},
                                                          {kListenerIndexes[1], sockets::LocalAddress.number},
                                                          {kListenerIndexes[2], sockets::LocalPort.number}});
    snmp::addTable(snmp::OID(kListenerEntry), "tcpListenerEntry", listeners, kListenerColumns);

    snmp::MapTable* endpoints =
        snmp::keepTable(rowsOf(sockets::kEndpointsPath), {{kEndpointIndexes[0], sockets::LocalType.number},
                                                          {kEndpointIndexes[1], sockets::LocalAddress.number},
                                                          {kEndpointIndexes[2], sockets::LocalPort.number},
                                                          {kEndpointIndexes[3], sockets::RemoteType.number},
                                                          {kEndpointIndexes[4], sockets::RemoteAddress.number},
                                                          {kEndpointIndexes[5], sockets::RemotePort.number},
                                                          {kEndpointIndexes[6], sockets::Instance.number}});
    snmp::addTable(snmp::OID(kEndpointEntry), "udpEndpointEntry", endpoints, kEndpointColumns);
}

}  // namespace ip_mib
