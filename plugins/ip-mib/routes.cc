// Routes (RFC 4292) and default routers (RFC 4293).
//
//     inetCidrRouteTable      INDEX { DestType, Dest, PfxLen, Policy, NextHopType, NextHop }    the policy is always
//     0.0 ipDefaultRouterTable    INDEX { AddressType, Address, IfIndex }

#include <linux/rtnetlink.h>

#include "agent/mib/providers/count_provider.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/inet.h"
#include "contracts/object_class.h"
#include "ip_mib.h"

namespace ip_mib {

namespace {

namespace default_routers = contracts::default_routers;
namespace routes = contracts::inet_routes;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

// ---- Routes

struct Route : snmp::Data {
    unsigned int destinationType = 0, nextHopType = 0;  // InetAddressType
    Octets destination, nextHop;
    unsigned int length = 0;     // bits of the prefix
    unsigned int interface = 0;  // ifIndex
    unsigned int type = 0, protocol = 0;
    unsigned int metric = 0;
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};

/// inetCidrRouteType of RTN_*.
unsigned int typeOf(uint32_t kernels, bool hasGateway) {
    enum { Other = 1, Reject = 2, Local = 3, Remote = 4, Blackhole = 5 };
    switch (kernels) {
        case RTN_UNICAST:
            return hasGateway ? Remote : Local;
        case RTN_LOCAL:
            return Local;
        case RTN_BLACKHOLE:
            return Blackhole;
        case RTN_UNREACHABLE:
        case RTN_PROHIBIT:
            return Reject;
        default:
            return Other;
    }
}

/// IANAipRouteProtocol of RTPROT_*.
unsigned int protocolOf(uint32_t kernels) {
    switch (kernels) {
        case RTPROT_KERNEL:
            return 2;  // local
        case RTPROT_BOOT:
        case RTPROT_STATIC:
            return 3;  // netmgmt
        case RTPROT_REDIRECT:
            return 4;  // icmp
        case RTPROT_RIP:
            return 8;
        case RTPROT_ISIS:
            return 9;
        case RTPROT_OSPF:
            return 13;
        case RTPROT_BGP:
            return 14;
        case RTPROT_EIGRP:
            return 16;
        case RTPROT_DHCP:
            return 19;
        default:
            return 1;  // other
    }
}

std::unique_ptr<snmp::Data> Route::build(const tn::message& m) {
    auto record = std::make_unique<Route>();
    record->destinationType = m.get_u32(routes::Type);
    record->destination = m.get_raw(routes::Destination);
    record->length = m.get_u32(routes::Length);
    record->nextHopType = m.get_u32(routes::GatewayType);
    record->nextHop = m.get_raw(routes::Gateway);
    record->interface = m.get_u32(routes::Interface);
    record->type = typeOf(m.get_u32(routes::RouteType), !record->nextHop.empty());
    record->protocol = protocolOf(m.get_u32(routes::Protocol));
    record->metric = m.get_u32(routes::Metric);
    return record;
}

constexpr auto kForward = snmp::under(kIp, 24);
constexpr snmp::Column<snmp::CountProvider::CountData> kNumber[] = {
    {6, "inetCidrRouteNumber", tag::Gauge32, &snmp::CountProvider::CountData::count},
};
constexpr auto kRouteEntry = snmp::under(kForward, 7, 1);
constexpr snmp::Column<Route> kRouteIndexes[] = {
    // not accessible
    {1, "inetCidrRouteDestType", tag::Integer, &Route::destinationType},
    {2, "inetCidrRouteDest", tag::OctetString, &Route::destination},
    {3, "inetCidrRoutePfxLen", tag::Gauge32, &Route::length},
    {4, "inetCidrRoutePolicy", tag::ObjectIdentifier, snmp::ConstantOID{snmp::kZeroDotZero}},
    {5, "inetCidrRouteNextHopType", tag::Integer, &Route::nextHopType},
    {6, "inetCidrRouteNextHop", tag::OctetString, &Route::nextHop},
};
constexpr snmp::Constant kNoMetric{-1};
constexpr snmp::Column<Route> kRouteColumns[] = {
    {7, "inetCidrRouteIfIndex", tag::Integer, &Route::interface},
    {8, "inetCidrRouteType", tag::Integer, &Route::type},
    {9, "inetCidrRouteProto", tag::Integer, &Route::protocol},
    {10, "inetCidrRouteAge", tag::Gauge32, snmp::Constant{0}},        // the kernel doesn't record it
    {11, "inetCidrRouteNextHopAS", tag::Gauge32, snmp::Constant{0}},  // not known
    {12, "inetCidrRouteMetric1", tag::Integer, &Route::metric},
    {13, "inetCidrRouteMetric2", tag::Integer, kNoMetric},
    {14, "inetCidrRouteMetric3", tag::Integer, kNoMetric},
    {15, "inetCidrRouteMetric4", tag::Integer, kNoMetric},
    {16, "inetCidrRouteMetric5", tag::Integer, kNoMetric},
    {17, "inetCidrRouteStatus", tag::Integer, snmp::Constant{1}},  // active
};
static_assert(ascending(kRouteColumns));

// ---- Default routers

struct Router : snmp::Data {
    unsigned int type = 0;  // InetAddressType
    Octets address;
    unsigned int interface = 0;  // ifIndex
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Router>();
        record->type = m.get_u32(default_routers::Type);
        record->address = m.get_raw(default_routers::Address);
        record->interface = m.get_u32(default_routers::Interface);
        return record;
    }
};

constexpr auto kRouterEntry = snmp::under(kIp, 37, 1);
constexpr snmp::Column<Router> kRouterIndexes[] = {
    // not accessible
    {1, "ipDefaultRouterAddressType", tag::Integer, &Router::type},
    {2, "ipDefaultRouterAddress", tag::OctetString, &Router::address},
    {3, "ipDefaultRouterIfIndex", tag::Integer, &Router::interface},
};
constexpr snmp::Column<Router> kRouterColumns[] = {
    {4, "ipDefaultRouterLifetime", tag::Gauge32, snmp::Constant{65535}},  // s: the maximum is infinite
    {5, "ipDefaultRouterPreference", tag::Integer, snmp::Constant{0}},    // medium
};

}  // namespace

void startRoutes() {
    auto* rows = snmp::keep<snmp::GetAllProvider>(routes::kPath, snmp::oneRow<Route::build>, kWhole);
    snmp::MapTable* table = snmp::keepTable(rows, {{kRouteIndexes[0], routes::Type.number},
                                                   {kRouteIndexes[1], routes::Destination.number},
                                                   {kRouteIndexes[2], routes::Length.number},
                                                   {kRouteIndexes[3], snmp::Packer::kNoField},
                                                   {kRouteIndexes[4], routes::GatewayType.number},
                                                   {kRouteIndexes[5], routes::Gateway.number}});
    snmp::addTable(snmp::OID(kRouteEntry), "inetCidrRouteEntry", table, kRouteColumns);
    snmp::addScalars(kForward, kNumber, snmp::keep<snmp::CountProvider>(table));

    auto* routerRows = snmp::keep<snmp::GetAllProvider>(default_routers::kPath, snmp::oneRow<Router::build>, kWhole);
    snmp::MapTable* routers = snmp::keepTable(routerRows, {{kRouterIndexes[0], default_routers::Type.number},
                                                           {kRouterIndexes[1], default_routers::Address.number},
                                                           {kRouterIndexes[2], default_routers::Interface.number}});
    snmp::addTable(snmp::OID(kRouterEntry), "ipDefaultRouterEntry", routers, kRouterColumns);
}

}  // namespace ip_mib
