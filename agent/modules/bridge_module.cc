// dot1dBase, dot1dStp and dot1dTpFdbTable (RFC 4188) of the first bridge.
//
//     dot1dTpFdbTable    INDEX { dot1dTpFdbAddress }
//
// All columns are read-only: a Set gets a normal reply and changes nothing.

#include "agent/modules/bridge_module.h"

#include "agent/mib/columns.h"
#include "agent/mib/keep.h"
#include "agent/mib/providers/get_all_provider.h"
#include "agent/mib/providers/get_first_provider.h"
#include "contracts/bridge.h"
#include "contracts/interfaces.h"
#include "contracts/object_class.h"

namespace snmp {

namespace {

namespace bridge = contracts::bridge;
namespace interfaces = contracts::interfaces;
namespace object_class = contracts::object_class;

constexpr unsigned int kMacOctets = 6;

// Records.

struct Bridge : Data {
    std::vector<unsigned char> mac;
    unsigned int priority = 0;
    static std::unique_ptr<Data> build(const tn::message& m);
};

struct Host : Data {
    unsigned int port = 0;
    std::vector<unsigned char> mac;
    unsigned int status = 0;  // dot1dTpFdbStatus
    static std::unique_ptr<Data> build(const tn::message& m, Rows& rows);
};

GetFirstProvider* bridgeProvider = nullptr;

// Build functions.

std::unique_ptr<Data> Bridge::build(const tn::message& m) {
    if (m.get_u32(interfaces::Kind) != interfaces::kind::Bridge) return nullptr;
    auto record = std::make_unique<Bridge>();
    record->mac = m.get_raw(interfaces::Mac);
    record->priority = m.get_u32(interfaces::Priority);
    return record;
}

/// Hosts of other bridges have no row.
std::unique_ptr<Data> Host::build(const tn::message& m, Rows& rows) {
    enum { Learned = 3, Self = 4 };
    if (m.get_u32(bridge::Bridge) != bridgeProvider->getFirstObjId()) return nullptr;
    auto record = std::make_unique<Host>();
    record->port = m.get_u32(bridge::Port);
    record->mac = m.get_raw(bridge::Mac);
    record->status = m.get_bool(bridge::Local) ? Self : Learned;
    rows.push_back(std::move(record));
    return nullptr;
}

/// Whether a host comes after those of the first bridge: the owner lists hosts by bridge, then by address.
bool isOfLaterBridge(const tn::message& m) { return m.get_u32(bridge::Bridge) > bridgeProvider->getFirstObjId(); }

/// Looks up the first bridge before each fetch, because bridges come and go. Without a bridge there are no rows.
class HostProvider : public GetAllProvider {
  public:
    HostProvider() : GetAllProvider(bridge::kForwardingPath, Host::build, object_class::kWhole, isOfLaterBridge) {}
    std::unique_ptr<VData> getData(const Key& key, const MapTable* table, unsigned int count) override {
        if (bridgeProvider->get() == nullptr) return std::make_unique<VData>();
        return GetAllProvider::getData(key, table, count);
    }
};

// Objects.

constexpr auto kDot1dBridge = under(kMib2, 17);
constexpr auto kDot1dBase = under(kDot1dBridge, 1);
constexpr auto kDot1dStp = under(kDot1dBridge, 2);
constexpr int kIeee8021d = 3;  // RFC 1493, 4.2

constexpr Column<Bridge> kBaseObjects[] = {
    {1, "dot1dBaseBridgeAddress", tag::OctetString, FixedOctets<Bridge>{&Bridge::mac, kMacOctets}},
};
constexpr Column<Bridge> kStpConstants[] = {{1, "dot1dStpProtocolSpecification", tag::Integer, Constant{kIeee8021d}}};
constexpr Column<Bridge> kStpObjects[] = {{2, "dot1dStpPriority", tag::Integer, &Bridge::priority}};

// dot1dTpFdbEntry
constexpr Column<Host> kFdbColumns[] = {
    {1, "dot1dTpFdbAddress", tag::OctetString, FixedOctets<Host>{&Host::mac, kMacOctets}},
    {2, "dot1dTpFdbPort", tag::Integer, &Host::port},  // compat: 71
    {3, "dot1dTpFdbStatus", tag::Integer, &Host::status},
};
static_assert(ascending(kFdbColumns));

}  // namespace

void start_bridge_module() {
    tn::message bridges;
    bridges.insert_u32(interfaces::Kind, interfaces::kind::Bridge);
    bridgeProvider = keep<GetFirstProvider>(interfaces::kPath, Bridge::build, bridges);

    MapTable* hosts = keepTable(keep<HostProvider>(), {{kFdbColumns[0], bridge::Mac.number}});
    addTable(OID(under(kDot1dBridge, 4, 3, 1)), "dot1dTpFdbEntry", hosts, kFdbColumns);

    addScalars(kDot1dBase, kBaseObjects, bridgeProvider);
    addScalars(kDot1dStp, kStpConstants, nullptr);
    addScalars(kDot1dStp, kStpObjects, bridgeProvider);
}

}  // namespace snmp
