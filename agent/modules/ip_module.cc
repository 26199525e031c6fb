// ip (RFC 1213) and ipCidrRouteTable (RFC 2096).
//
//     ipAddrTable          INDEX { ipAdEntAddr }
//     ipNetToMediaTable    INDEX { ipNetToMediaIfIndex, ipNetToMediaNetAddress }
//     ipCidrRouteTable     INDEX { ipCidrRouteDest, ipCidrRouteMask, ipCidrRouteTos, ipCidrRouteNextHop }
//     ipRouteTable         INDEX { ipRouteDest }    of several routes to a destination only the first (compat: 70)
//
// All columns are read-only: a Set gets a normal reply and changes nothing.

#include "agent/modules/ip_module.h"

#include "agent/mib/columns.h"
#include "agent/mib/keep.h"
#include "agent/mib/providers/count_provider.h"
#include "agent/mib/providers/get_all_provider.h"
#include "agent/modules/proxy_module.h"
#include "agent/modules/queue_module.h"
#include "contracts/addresses.h"
#include "contracts/object_class.h"
#include "contracts/routes.h"

namespace snmp {

namespace {

namespace addresses = contracts::addresses;
namespace arp = contracts::arp;
namespace object_class = contracts::object_class;
namespace routes = contracts::routes;

/// Whether an address or route is listed by its owner but not in use.
bool isInactive(const tn::message& m) { return m.get_bool(tn::field::Invalid) || m.get_bool(tn::field::Disabled); }

// Records.

struct IpAddr : Data {
    unsigned int address = 0, netmask = 0;
    unsigned int ifIndex = 0;
    static std::unique_ptr<Data> build(const tn::message& m, Rows& rows);
};

struct IpArp : Data {
    unsigned int ifIndex = 0;
    unsigned int address = 0;
    unsigned int type = 0;
    std::vector<unsigned char> mac;
    static std::unique_ptr<Data> build(const tn::message& m);
};

/// The values that the two route tables have for a kind of route (its origin).
struct RouteKind {
    uint32_t kind;
    unsigned int routeType;   // ipRouteType: 3 direct, 4 indirect
    unsigned int routeProto;  // ipRouteProto
    unsigned int cidrType;    // ipCidrRouteType: 1 other, 3 local, 4 remote
    unsigned int cidrProto;   // ipCidrRouteProto
};

struct IpRoute : Data {
    unsigned int dest = 0, mask = 0, nextHop = 0;
    unsigned int distance = 0;
    unsigned int ifIndex = 0;
    unsigned int routeType = 0, routeProto = 0, cidrType = 0, cidrProto = 0;
    static std::unique_ptr<Data> build(const tn::message& m, Rows& rows);
};

// Build functions.

std::unique_ptr<Data> IpAddr::build(const tn::message& m, Rows& rows) {
    auto record = std::make_unique<IpAddr>();
    record->address = m.get_be32(addresses::Address);
    record->netmask = m.get_be32(addresses::Mask);
    record->ifIndex = m.get_u32(addresses::Interface);
    if (isInactive(m)) return record;
    rows.push_back(std::move(record));
    return nullptr;
}

std::unique_ptr<Data> IpArp::build(const tn::message& m) {
    enum { Invalid = 2, Dynamic = 3, Static = 4 };  // ipNetToMediaType
    auto record = std::make_unique<IpArp>();
    record->address = m.get_be32(arp::Address);
    record->mac = m.get_raw(arp::LinkAddress);
    record->ifIndex = m.get_u32(arp::Interface);
    record->type = m.get_bool(tn::field::Invalid) ? Invalid : m.get_bool(arp::Dynamic) ? Dynamic : Static;
    return record;
}

// Owners on other platforms have more kinds than contracts/routes.h names.
constexpr RouteKind kOtherRoute = {0, 4, 1, 1, 1};
constexpr RouteKind kRouteKinds[] = {
    {routes::kind::Connected, 3, 1, 3, 2},
    {routes::kind::Static, 4, 2, 4, 3},
    {routes::kind::Rip, 4, 8, 4, 8},
    {routes::kind::Ospf, 4, 13, 4, 13},
    {routes::kind::Bgp, 4, 14, 4, 14},
    {routes::kind::Other, 4, 2, 4, 3},
    {31, 4, 1, 3, 2},
};

constexpr const RouteKind& routeKind(uint32_t kind) {
    for (const RouteKind& row : kRouteKinds)
        if (row.kind == kind) return row;
    return kOtherRoute;
}

uint32_t element(const std::vector<uint32_t>& values, size_t i) { return i < values.size() ? values[i] : 0; }

std::unique_ptr<IpRoute> routeBy(uint32_t nextHop, uint32_t ifIndex, const tn::message& m) {
    auto record = std::make_unique<IpRoute>();
    record->dest = m.get_be32(routes::Destination);
    record->mask = m.get_be32(routes::Mask);
    record->nextHop = nextHop;
    record->ifIndex = ifIndex;
    record->distance = m.get_u32(routes::Distance);
    const RouteKind& kind = routeKind(m.get_u32(routes::Kind));
    record->routeType = kind.routeType;
    record->routeProto = kind.routeProto;
    record->cidrType = kind.cidrType;
    record->cidrProto = kind.cidrProto;
    return record;
}

/// Adds a row for each gateway in use; for a connected network without gateways, one row.
void addRoutes(const tn::message& m, Rows& rows) {
    const std::vector<uint32_t> gateways = m.get_be32_array(routes::Gateways);
    const std::vector<uint32_t>& interfaces = m.get_u32_array(routes::Interfaces);
    const bool isConnected = gateways.empty() && m.get_u32(routes::Kind) == routes::kind::Connected;
    if (isConnected || m.get_bool(routes::Single)) {
        rows.push_back(routeBy(m.get_be32(routes::Gateway), element(interfaces, 0), m));
        return;
    }
    if (!m.has_array(routes::Interfaces)) return;
    const bool allUsed = !m.has_array(routes::Used);
    const std::vector<uint32_t>& used = m.get_u32_array(routes::Used);
    for (size_t i = 0; i < gateways.size(); ++i) {
        if (allUsed || element(used, i) != 0) rows.push_back(routeBy(gateways[i], element(interfaces, i), m));
    }
}

/// A route without a row is returned as an unlisted record (GetAllProvider::BuildRows): a walk must get past any number
/// of them.
std::unique_ptr<Data> IpRoute::build(const tn::message& m, Rows& rows) {
    const size_t before = rows.size();
    if (!isInactive(m)) addRoutes(m, rows);
    if (rows.size() > before) return nullptr;
    const std::vector<uint32_t> gateways = m.get_be32_array(routes::Gateways);
    return routeBy(gateways.empty() ? m.get_be32(routes::Gateway) : gateways.back(), 0, m);
}

// Objects.

constexpr auto kIp = under(kMib2, 4);
constexpr Column<Data> kIpObjects[] = {
    // compat: 68
    {1, "ipForwarding", tag::Integer, Constant{1}},    // a router's
    {2, "ipDefaultTTL", tag::Integer, Constant{255}},  // hops
};

// ipAddrEntry
constexpr Column<IpAddr> kAddrColumns[] = {
    {1, "ipAdEntAddr", tag::IpAddress, &IpAddr::address},
    {2, "ipAdEntIfIndex", tag::Integer, &IpAddr::ifIndex},
    {3, "ipAdEntNetMask", tag::IpAddress, &IpAddr::netmask},
    {4, "ipAdEntBcastAddr", tag::Integer, Constant{1}},  // lowest bit of the broadcast address, as RFC 1213 defines it
    {5, "ipAdEntReasmMaxSize", tag::Integer, Constant{65535}},
};
static_assert(ascending(kAddrColumns));

// ipNetToMediaEntry
constexpr Column<IpArp> kArpColumns[] = {
    {1, "ipNetToMediaIfIndex", tag::Integer, &IpArp::ifIndex},
    {2, "ipNetToMediaPhysAddress", tag::OctetString, &IpArp::mac},
    {3, "ipNetToMediaNetAddress", tag::IpAddress, &IpArp::address},
    {4, "ipNetToMediaType", tag::Integer, &IpArp::type},
};
static_assert(ascending(kArpColumns));

constexpr Constant kNoMetric{-1};  // compat: 69

// ipCidrRouteEntry
constexpr auto kIpForward = under(kIp, 24);
constexpr Column<CountProvider::CountData> kCidrNumber[] = {
    {3, "ipCidrRouteNumber", tag::Gauge32, &CountProvider::CountData::count},
};
constexpr Column<IpRoute> kCidrColumns[] = {
    {1, "ipCidrRouteDest", tag::IpAddress, {&IpRoute::dest, routes::Destination}},
    {2, "ipCidrRouteMask", tag::IpAddress, {&IpRoute::mask, routes::Mask}},
    {3, "ipCidrRouteTos", tag::Integer, Constant{0}},  // routes aren't selected by type of service
    {4, "ipCidrRouteNextHop", tag::IpAddress, {&IpRoute::nextHop, routes::Gateway}},
    {5, "ipCidrRouteIfIndex", tag::Integer, {&IpRoute::ifIndex, routes::Interfaces}},
    {6, "ipCidrRouteType", tag::Integer, {&IpRoute::cidrType, routes::Kind}},
    {7, "ipCidrRouteProto", tag::Integer, {&IpRoute::cidrProto, routes::Kind}},
    {8, "ipCidrRouteAge", tag::Integer, Constant{0}},  // the owner doesn't record it
    {9, "ipCidrRouteInfo", tag::ObjectIdentifier, ConstantOID{kZeroDotZero}},
    {10, "ipCidrRouteNextHopAS", tag::Integer, Constant{0}},  // not known
    {11, "ipCidrRouteMetric1", tag::Integer, {&IpRoute::distance, routes::Distance}},
    {12, "ipCidrRouteMetric2", tag::Integer, kNoMetric},
    {13, "ipCidrRouteMetric3", tag::Integer, kNoMetric},
    {14, "ipCidrRouteMetric4", tag::Integer, kNoMetric},
    {15, "ipCidrRouteMetric5", tag::Integer, kNoMetric},
    {16, "ipCidrRouteStatus", tag::Integer, Constant{1}},  // active
};
static_assert(ascending(kCidrColumns));

// ipRouteEntry
constexpr Column<IpRoute> kRouteColumns[] = {
    {1, "ipRouteDest", tag::IpAddress, {&IpRoute::dest, routes::Destination}},
    {2, "ipRouteIfIndex", tag::Integer, {&IpRoute::ifIndex, routes::Interfaces}},
    {3, "ipRouteMetric1", tag::Integer, {&IpRoute::distance, routes::Distance}},
    {4, "ipRouteMetric2", tag::Integer, kNoMetric},
    {5, "ipRouteMetric3", tag::Integer, kNoMetric},
    {6, "ipRouteMetric4", tag::Integer, kNoMetric},
    {7, "ipRouteNextHop", tag::IpAddress, {&IpRoute::nextHop, routes::Gateway}},
    {8, "ipRouteType", tag::Integer, {&IpRoute::routeType, routes::Kind}},
    {9, "ipRouteProto", tag::Integer, {&IpRoute::routeProto, routes::Kind}},
    {10, "ipRouteAge", tag::Integer, Constant{0}},  // as ipCidrRouteAge
    {11, "ipRouteMask", tag::IpAddress, {&IpRoute::mask, routes::Mask}},
    {12, "ipRouteMetric5", tag::Integer, kNoMetric},
    {13, "ipRouteInfo", tag::ObjectIdentifier, ConstantOID{kZeroDotZero}},
};
static_assert(ascending(kRouteColumns));

// Start.

void startRoutes() {
    auto* rows = keep<GetAllProvider>(routes::kPath, IpRoute::build, object_class::kWhole);
    MapTable* cidr = keepTable(rows, {{kCidrColumns[0], routes::Destination.number},
                                      {kCidrColumns[1], routes::Mask.number},
                                      {kCidrColumns[2], Packer::kNoField},
                                      {kCidrColumns[3], routes::Gateway.number}});
    addTable(OID(under(kIpForward, 4, 1)), "ipCidrRouteEntry", cidr, kCidrColumns);
    addScalars(kIpForward, kCidrNumber, keep<CountProvider>(cidr));

    MapTable* byDestination = keepTable(rows, {{kRouteColumns[0], routes::Destination.number}});
    addTable(OID(under(kIp, 21, 1)), "ipRouteEntry", byDestination, kRouteColumns);
}

}  // namespace

void start_ip_module() {
    addScalars(kIp, kIpObjects, nullptr);

    auto* addressRows = keep<GetAllProvider>(addresses::kPath, IpAddr::build, object_class::kWhole);
    MapTable* addrTable = keepTable(addressRows, {{kAddrColumns[0], addresses::Address.number}});
    addTable(OID(under(kIp, 20, 1)), "ipAddrEntry", addrTable, kAddrColumns);

    auto* arpRows = keep<GetAllProvider>(arp::kPath, oneRow<IpArp::build>, object_class::kWhole);
    MapTable* arpTable =
        keepTable(arpRows, {{kArpColumns[0], arp::Interface.number}, {kArpColumns[2], arp::Address.number}});
    addTable(OID(under(kIp, 22, 1)), "ipNetToMediaEntry", arpTable, kArpColumns);

    startRoutes();
    startWebProxy();
    startQueues();
}

}  // namespace snmp
