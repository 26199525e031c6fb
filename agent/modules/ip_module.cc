// ip (RFC 1213) and ipCidrRouteTable (RFC 2096).
//
//     ipAddrTable          INDEX { ipAdEntAddr }
//     ipNetToMediaTable    INDEX { ipNetToMediaIfIndex, ipNetToMediaNetAddress }
//     ipCidrRouteTable     INDEX { ipCidrRouteDest, ipCidrRouteMask, ipCidrRouteTos, ipCidrRouteNextHop }
//     ipRouteTable         INDEX { ipRouteDest }    of several routes to one destination the first
//
// No column changes anything: a Set is answered and leaves things as they are.

#include "agent/modules/ip_module.h"

#include <arpa/inet.h>

#include "agent/mib/columns.h"
#include "agent/mib/count_provider.h"
#include "agent/mib/get_all_provider.h"
#include "agent/mib/keep.h"
#include "agent/modules/proxy_module.h"
#include "agent/modules/queue_module.h"

namespace snmp {

namespace {

// Owners.
const std::vector<uint32_t> kAddresses = {20, 1};
const std::vector<uint32_t> kArpEntries = {20, 8};
const std::vector<uint32_t> kRoutes = {44, 1};
constexpr uint32_t kWholeObject = 5;  // object class of every get here

// Fields of several owners' rows.
constexpr tn::be32_id kAddress{1};

constexpr tn::u32_id kArpInterface{3};

/// Listed by its owner, but not in force.
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

/// What a route's kind, its origin, means in the two route tables.
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
    record->address = m.get_be32(kAddress);
    record->netmask = m.get_be32(3);
    record->ifIndex = m.get_u32(5);
    if (isInactive(m)) return record;
    rows.push_back(std::move(record));
    return nullptr;
}

std::unique_ptr<Data> IpArp::build(const tn::message& m) {
    constexpr tn::bool_id kLearned{0xfe0007};
    enum { Invalid = 2, Dynamic = 3, Static = 4 };  // ipNetToMediaType
    auto record = std::make_unique<IpArp>();
    record->address = m.get_be32(kAddress);
    record->mac = m.get_raw(2);
    record->ifIndex = m.get_u32(kArpInterface);
    record->type = m.get_bool(tn::field::Invalid) ? Invalid : m.get_bool(kLearned) ? Dynamic : Static;
    return record;
}

constexpr uint32_t kConnected = 2;
constexpr RouteKind kOtherKind = {0, 4, 1, 1, 1};
constexpr RouteKind kKinds[] = {
    {kConnected, 3, 1, 3, 2}, {3, 4, 2, 4, 3},  // static
    {4, 4, 8, 4, 8},                            // RIP
    {6, 4, 13, 4, 13},                          // OSPF
    {8, 4, 14, 4, 14},                          // BGP
    {30, 4, 2, 4, 3},                           // another program's, or the kernel's own
    {31, 4, 1, 3, 2},
};

constexpr const RouteKind& kindRow(uint32_t kind) {
    for (const RouteKind& row : kKinds)
        if (row.kind == kind) return row;
    return kOtherKind;
}

namespace route {
constexpr tn::be32_id Dest{1};
constexpr tn::be32_id Mask{2};
constexpr tn::be32_id OwnAddress{3};       // next hop of a connected route; in a key the next hop of any
constexpr tn::u32_array_id Gateways{4};    // in network byte order
constexpr tn::u32_array_id Interfaces{5};  // one for each gateway
constexpr tn::u32_array_id Used{6};        // likewise, 0 for a gateway that isn't used; all are when it is absent
constexpr tn::u32_id Kind{7};
constexpr tn::u32_id Distance{8};
}  // namespace route

uint32_t element(const std::vector<uint32_t>& values, size_t i) { return i < values.size() ? values[i] : 0; }

std::unique_ptr<IpRoute> routeBy(uint32_t nextHop, uint32_t ifIndex, const tn::message& m) {
    auto record = std::make_unique<IpRoute>();
    record->dest = m.get_be32(route::Dest);
    record->mask = m.get_be32(route::Mask);
    record->nextHop = nextHop;
    record->ifIndex = ifIndex;
    record->distance = m.get_u32(route::Distance);
    const RouteKind& kind = kindRow(m.get_u32(route::Kind));
    record->routeType = kind.routeType;
    record->routeProto = kind.routeProto;
    record->cidrType = kind.cidrType;
    record->cidrProto = kind.cidrProto;
    return record;
}

/// One row for each gateway in use, or the one of a connected network.
void addRoutes(const tn::message& m, Rows& rows) {
    const std::vector<uint32_t>& gateways = m.get_u32_array(route::Gateways);
    const std::vector<uint32_t>& interfaces = m.get_u32_array(route::Interfaces);
    if (gateways.empty() && m.get_u32(route::Kind) == kConnected) {
        rows.push_back(routeBy(m.get_be32(route::OwnAddress), element(interfaces, 0), m));
        return;
    }
    if (!m.has_array(route::Interfaces)) return;
    const bool allUsed = !m.has_array(route::Used);
    const std::vector<uint32_t>& used = m.get_u32_array(route::Used);
    for (size_t i = 0; i < gateways.size(); ++i) {
        if (allUsed || element(used, i) != 0) rows.push_back(routeBy(ntohl(gateways[i]), element(interfaces, i), m));
    }
}

/// A route that gives no row is handed back: any number of them may stand together, and a walk has to get past them.
std::unique_ptr<Data> IpRoute::build(const tn::message& m, Rows& rows) {
    const size_t before = rows.size();
    if (!isInactive(m)) addRoutes(m, rows);
    if (rows.size() > before) return nullptr;
    const std::vector<uint32_t>& gateways = m.get_u32_array(route::Gateways);
    return routeBy(gateways.empty() ? m.get_be32(route::OwnAddress) : ntohl(gateways.back()), 0, m);
}

// Objects.

constexpr auto kIp = under(kMib2, 4);
constexpr int kForwarding = 1;
constexpr int kDefaultTtl = 255;

// ipAddrEntry
constexpr Column<IpAddr> kAddrColumns[] = {
    {1, "ipAdEntAddr", tag::IpAddress, &IpAddr::address},
    {2, "ipAdEntIfIndex", tag::Integer, &IpAddr::ifIndex},
    {3, "ipAdEntNetMask", tag::IpAddress, &IpAddr::netmask},
    {4, "ipAdEntBcastAddr", tag::Integer, Constant{1}},  // lowest bit of the broadcast address
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

constexpr Constant kNoMetric{-1};

// ipCidrRouteEntry
constexpr auto kIpForward = under(kIp, 24);
constexpr Column<CountProvider::CountData> kCidrNumber[] = {
    {3, "ipCidrRouteNumber", tag::Gauge32, &CountProvider::CountData::count},
};
constexpr Column<IpRoute> kCidrColumns[] = {
    {1, "ipCidrRouteDest", tag::IpAddress, &IpRoute::dest},
    {2, "ipCidrRouteMask", tag::IpAddress, &IpRoute::mask},
    {3, "ipCidrRouteTos", tag::Integer, Constant{0}},  // routes aren't chosen by type of service
    {4, "ipCidrRouteNextHop", tag::IpAddress, &IpRoute::nextHop},
    {5, "ipCidrRouteIfIndex", tag::Integer, &IpRoute::ifIndex},
    {6, "ipCidrRouteType", tag::Integer, &IpRoute::cidrType},
    {7, "ipCidrRouteProto", tag::Integer, &IpRoute::cidrProto},
    {8, "ipCidrRouteAge", tag::Integer, Constant{0}},  // the owner keeps no such time
    {9, "ipCidrRouteInfo", tag::ObjectIdentifier, ConstantOID{kZeroDotZero}},
    {10, "ipCidrRouteNextHopAS", tag::Integer, Constant{0}},  // not known
    {11, "ipCidrRouteMetric1", tag::Integer, &IpRoute::distance},
    {12, "ipCidrRouteMetric2", tag::Integer, kNoMetric},
    {13, "ipCidrRouteMetric3", tag::Integer, kNoMetric},
    {14, "ipCidrRouteMetric4", tag::Integer, kNoMetric},
    {15, "ipCidrRouteMetric5", tag::Integer, kNoMetric},
    {16, "ipCidrRouteStatus", tag::Integer, Constant{1}},  // active
};
static_assert(ascending(kCidrColumns));

// ipRouteEntry
constexpr Column<IpRoute> kRouteColumns[] = {
    {1, "ipRouteDest", tag::IpAddress, &IpRoute::dest},
    {2, "ipRouteIfIndex", tag::Integer, &IpRoute::ifIndex},
    {3, "ipRouteMetric1", tag::Integer, &IpRoute::distance},
    {4, "ipRouteMetric2", tag::Integer, kNoMetric},
    {5, "ipRouteMetric3", tag::Integer, kNoMetric},
    {6, "ipRouteMetric4", tag::Integer, kNoMetric},
    {7, "ipRouteNextHop", tag::IpAddress, &IpRoute::nextHop},
    {8, "ipRouteType", tag::Integer, &IpRoute::routeType},
    {9, "ipRouteProto", tag::Integer, &IpRoute::routeProto},
    {10, "ipRouteAge", tag::Integer, Constant{0}},  // as ipCidrRouteAge
    {11, "ipRouteMask", tag::IpAddress, &IpRoute::mask},
    {12, "ipRouteMetric5", tag::Integer, kNoMetric},
    {13, "ipRouteInfo", tag::ObjectIdentifier, ConstantOID{kZeroDotZero}},
};
static_assert(ascending(kRouteColumns));

// Start.

void startRoutes() {
    auto* routes = keep<GetAllProvider>(kRoutes, IpRoute::build, kWholeObject);
    MapTable* cidr = keepTable(routes, {{packerFor(kCidrColumns[0]), route::Dest.number},
                                        {packerFor(kCidrColumns[1]), route::Mask.number},
                                        {packerFor(kCidrColumns[2]), Packer::kNoField},
                                        {packerFor(kCidrColumns[3]), route::OwnAddress.number}});
    addColumns(addColumnarBranch(OID(under(kIpForward, 4, 1)), cidr), kCidrColumns);
    addScalars(kIpForward, kCidrNumber, keep<CountProvider>(cidr));

    MapTable* byDestination = keepTable(routes, {{packerFor(kRouteColumns[0]), route::Dest.number}});
    addColumns(addColumnarBranch(OID(under(kIp, 21, 1)), byDestination), kRouteColumns);
}

}  // namespace

void start_ip_module() {
    addScalarConstNumLeaf(OID(kIp) + 1, kForwarding, tag::Integer);
    addScalarConstNumLeaf(OID(kIp) + 2, kDefaultTtl, tag::Integer);

    auto* addresses = keep<GetAllProvider>(kAddresses, IpAddr::build, kWholeObject);
    MapTable* addrTable = keepTable(addresses, {{packerFor(kAddrColumns[0]), kAddress.number}});
    addColumns(addColumnarBranch(OID(under(kIp, 20, 1)), addrTable), kAddrColumns);

    auto* arpEntries = keep<GetAllProvider>(kArpEntries, oneRow<IpArp::build>, kWholeObject);
    MapTable* arpTable = keepTable(
        arpEntries, {{packerFor(kArpColumns[0]), kArpInterface.number}, {packerFor(kArpColumns[2]), kAddress.number}});
    addColumns(addColumnarBranch(OID(under(kIp, 22, 1)), arpTable), kArpColumns);

    startRoutes();
    startWebProxy();
    startQueues();
}

}  // namespace snmp
