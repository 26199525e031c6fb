// How the interfaces use IPv4 and IPv6 (RFC 4293).
//
//     ipv4InterfaceTable    INDEX { ipv4InterfaceIfIndex }
//     ipv6InterfaceTable    INDEX { ipv6InterfaceIfIndex }

#include "agent/mib/providers/data_provider.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/inet.h"
#include "contracts/object_class.h"
#include "ip_mib.h"
#include "tn/fields.h"

namespace ip_mib {

namespace {

namespace ip_interfaces = contracts::ip_interfaces;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

struct Interface : snmp::Data {
    unsigned int index = 0;                    // ifIndex
    unsigned int enabled = 0, forwarding = 0;  // 1 yes, 2 no
    unsigned int hopLimit = 0;
    unsigned int reachable = 0, retransmit = 0;  // ms
    Octets identifier;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        const auto isSo = [&m](tn::bool_id field) { return m.get_bool(field) ? 1U : 2U; };
        auto record = std::make_unique<Interface>();
        record->index = m.get_u32(tn::field::ObjectId);
        record->enabled = isSo(ip_interfaces::Enabled);
        record->forwarding = isSo(ip_interfaces::Forwarding);
        record->hopLimit = m.get_u32(ip_interfaces::HopLimit);
        record->reachable = m.get_u32(ip_interfaces::Reachable);
        record->retransmit = m.get_u32(ip_interfaces::Retransmit);
        record->identifier = m.get_raw(ip_interfaces::Identifier);
        return record;
    }
};

constexpr snmp::Column<Interface> kHostObjects[] = {
    {25, "ipv6IpForwarding", tag::Integer, &Interface::forwarding},
    {26, "ipv6IpDefaultHopLimit", tag::Integer, &Interface::hopLimit},
};

constexpr snmp::Constant kMaxDatagram{65535};  // octets that the kernel reassembles

constexpr auto kIPv4Entry = snmp::under(kIp, 28, 1);
constexpr snmp::Column<Interface> kIPv4Index = {1, "ipv4InterfaceIfIndex", tag::Integer, &Interface::index};
constexpr snmp::Column<Interface> kIPv4Columns[] = {
    {2, "ipv4InterfaceReasmMaxSize", tag::Integer, kMaxDatagram},
    {3, "ipv4InterfaceEnableStatus", tag::Integer, &Interface::enabled},
    {4, "ipv4InterfaceRetransmitTime", tag::Gauge32, &Interface::retransmit},
};
static_assert(ascending(kIPv4Columns));

constexpr auto kIPv6Entry = snmp::under(kIp, 30, 1);
constexpr snmp::Column<Interface> kIPv6Index = {1, "ipv6InterfaceIfIndex", tag::Integer, &Interface::index};
constexpr snmp::Column<Interface> kIPv6Columns[] = {
    {2, "ipv6InterfaceReasmMaxSize", tag::Gauge32, kMaxDatagram},
    {3, "ipv6InterfaceIdentifier", tag::OctetString, &Interface::identifier},
    {5, "ipv6InterfaceEnableStatus", tag::Integer, &Interface::enabled},
    {6, "ipv6InterfaceReachableTime", tag::Gauge32, &Interface::reachable},
    {7, "ipv6InterfaceRetransmitTime", tag::Gauge32, &Interface::retransmit},
    {8, "ipv6InterfaceForwarding", tag::Integer, &Interface::forwarding},
};
static_assert(ascending(kIPv6Columns));

}  // namespace

void startInterfaces() {
    auto* host =
        snmp::keep<snmp::GetProvider>(Interface::build, ip_interfaces::kIPv6Path, tn::cmd::Get, tn::cmd::Set, kWhole);
    snmp::addScalars(kIp, kHostObjects, host);

    auto* rows4 = snmp::keep<snmp::GetAllProvider>(ip_interfaces::kIPv4Path, snmp::oneRow<Interface::build>, kWhole);
    snmp::MapTable* table4 = snmp::keepTable(rows4, {{kIPv4Index, tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kIPv4Entry), "ipv4InterfaceEntry", table4, kIPv4Columns);

    auto* rows6 = snmp::keep<snmp::GetAllProvider>(ip_interfaces::kIPv6Path, snmp::oneRow<Interface::build>, kWhole);
    snmp::MapTable* table6 = snmp::keepTable(rows6, {{kIPv6Index, tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kIPv6Entry), "ipv6InterfaceEntry", table6, kIPv6Columns);
}

}  // namespace ip_mib
