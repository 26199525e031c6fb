// interfaces and ifXTable (RFC 2863), and the vendor's interface counters.
//
//     ifTable            INDEX { ifIndex }
//     ifXTable           INDEX { ifIndex }
//     vendor counters    INDEX { interface id }
//
// ifAdminStatus can be written. A Set of any other column is answered and changes nothing.

#include "agent/modules/interface_module.h"

#include "agent/mib/columns.h"
#include "agent/mib/count_provider.h"
#include "agent/mib/get_all_provider.h"
#include "agent/mib/keep.h"
#include "agent/traps/interface_traps.h"
#include "agent/traps/trap_generators.h"
#include "contracts/interface_counters.h"
#include "contracts/interfaces.h"
#include "contracts/object_class.h"
#include "tn/looper.h"

namespace snmp {

namespace {

namespace counters = contracts::interface_counters;
namespace interfaces = contracts::interfaces;
namespace object_class = contracts::object_class;

// ifAdminStatus and ifOperStatus
constexpr unsigned int kUp = 1;
constexpr unsigned int kDown = 2;

// Records.

struct Iface : Data {
    unsigned int inOctets32 = 0, outOctets32 = 0, inUcast32 = 0, outUcast32 = 0;  // the low 32 bits
    unsigned long long inOctets64 = 0, outOctets64 = 0, inUcast64 = 0, outUcast64 = 0;
    unsigned int inErrors = 0, outErrors = 0, inDiscards = 0, outDiscards = 0;
    unsigned int index = 0;
    unsigned int mtu = 0;
    unsigned int speed = 0;                        // bits per second
    unsigned int type = 0;                         // IANAifType
    unsigned int operStatus = 0, adminStatus = 0;  // kUp, kDown
    bool isAdminStatusWritten = false;
    std::string name;
    std::string alias;
    std::vector<unsigned char> physAddress;
    static std::unique_ptr<Data> build(const tn::message& m);
    void reverseBuild(tn::message& m) override;
};

struct IfStats : Data {
    unsigned int id = 0;
    std::string name;
    Counters counters{};
    static std::unique_ptr<Data> build(const tn::message& m);
    void reverseBuild(tn::message& m) override { m.insert_u32(tn::field::ObjectId, id); }
};

// What an interface's kind means for ifSpeed and ifType.

enum class SpeedOf { Kind, Interface, Parent };

struct KindRow {
    uint32_t kind;
    SpeedOf speedOf;
    unsigned int speed;  // bits per second, where the kind alone tells
    unsigned int type;   // IANAifType
};

constexpr KindRow kOtherKind = {interfaces::kind::Other, SpeedOf::Kind, 10'000'000, 1};
// Owners elsewhere have more kinds than contracts/interfaces.h names: those are numbers here.
constexpr KindRow kKinds[] = {
    {interfaces::kind::Ethernet, SpeedOf::Interface, 0, 6},
    {2, SpeedOf::Kind, 2'000'000, 188},
    {interfaces::kind::Wireless, SpeedOf::Kind, 11'000'000, 71},
    {6, SpeedOf::Kind, 10'000'000, 188},
    {7, SpeedOf::Kind, 64'000, 118},
    {8, SpeedOf::Kind, 64'000, 118},
    {interfaces::kind::Ppp, SpeedOf::Kind, 10'000'000, 23},
    {11, SpeedOf::Kind, 10'000'000, 23},
    {interfaces::kind::Bridge, SpeedOf::Kind, 100'000'000, 209},
    {13, SpeedOf::Kind, 11'000'000, 71},
    {15, SpeedOf::Kind, 64'000, 63},
    {16, SpeedOf::Kind, 10'000'000, 23},
    {interfaces::kind::Tunnel, SpeedOf::Kind, 10'000'000, 131},
    {18, SpeedOf::Kind, 10'000'000, 23},
    {19, SpeedOf::Kind, 57'600, 23},
    {20, SpeedOf::Kind, 57'600, 23},
    {21, SpeedOf::Kind, 128'000, 131},
    {22, SpeedOf::Kind, 64'000, 63},
    {23, SpeedOf::Kind, 64'000, 118},
    {24, SpeedOf::Kind, 11'000'000, 71},
    {27, SpeedOf::Kind, 64'000, 32},
    {28, SpeedOf::Kind, 64'000, 118},
    {interfaces::kind::Vlan, SpeedOf::Parent, 0, 135},
    {33, SpeedOf::Kind, 10'000'000, 23},
    {34, SpeedOf::Kind, 10'000'000, 23},
    {35, SpeedOf::Kind, 11'000'000, 71},
};

constexpr KindRow kindRow(uint32_t kind) {
    for (const KindRow& row : kKinds)
        if (row.kind == kind) return row;
    return kOtherKind;
}
static_assert(kindRow(interfaces::kind::Vlan).type == 135 && kindRow(3).type == 1 && kindRow(36).type == 1);

/// Bits per second of the interface with this id; 0 when its owner doesn't report it.
unsigned int lookUpSpeed(uint32_t id) {
    static tn::message request = tn::request(interfaces::kPath, interfaces::kGetSpeed);  // sent for each row: made once
    request.insert_u32(tn::field::ObjectId, id);
    const tn::message reply = tn::getLooper()->exchangeMessage(request);
    switch (tn::isError(reply) ? 0 : reply.get_u32(interfaces::SpeedSelector)) {
        case interfaces::speed_selector::Mbit10:
            return 10'000'000;
        case interfaces::speed_selector::Mbit100:
            return 100'000'000;
        case interfaces::speed_selector::Mbit1000:
            return 1'000'000'000;
        default:
            return 0;
    }
}

// Build functions.

std::unique_ptr<Data> Iface::build(const tn::message& m) {
    auto record = std::make_unique<Iface>();
    record->index = m.get_u32(tn::field::ObjectId);
    record->name = m.get_string(interfaces::Name);
    record->alias = m.get_string(tn::field::Comment);
    record->mtu = m.get_u32(interfaces::Mtu);
    record->physAddress = m.get_raw(interfaces::Mac);
    record->operStatus = m.get_bool(interfaces::Running) ? kUp : kDown;
    record->adminStatus = m.get_bool(tn::field::Disabled) ? kDown : kUp;

    record->inDiscards = m.get_u32(interfaces::InDiscards);
    record->outDiscards = m.get_u32(interfaces::OutDiscards);
    record->inErrors = m.get_u32(interfaces::InErrors);
    record->outErrors = m.get_u32(interfaces::OutErrors);
    record->inOctets64 = m.get_u64(interfaces::InOctets);
    record->outOctets64 = m.get_u64(interfaces::OutOctets);
    record->inUcast64 = m.get_u64(interfaces::InUnicast);
    record->outUcast64 = m.get_u64(interfaces::OutUnicast);
    record->inOctets32 = static_cast<unsigned int>(record->inOctets64);
    record->outOctets32 = static_cast<unsigned int>(record->outOctets64);
    record->inUcast32 = static_cast<unsigned int>(record->inUcast64);
    record->outUcast32 = static_cast<unsigned int>(record->outUcast64);

    const KindRow row = kindRow(m.get_u32(interfaces::Kind));
    record->type = row.type;
    record->speed = row.speed;
    if (row.speedOf == SpeedOf::Interface) record->speed = lookUpSpeed(record->index);
    if (row.speedOf == SpeedOf::Parent) record->speed = lookUpSpeed(m.get_u32(interfaces::Parent));
    return record;
}

void Iface::reverseBuild(tn::message& m) {
    m.insert_u32(tn::field::ObjectId, index);
    if (isAdminStatusWritten && (adminStatus == kUp || adminStatus == kDown))
        m.insert_bool(tn::field::Disabled, adminStatus == kDown);
}

std::unique_ptr<Data> IfStats::build(const tn::message& m) {
    auto record = std::make_unique<IfStats>();
    record->id = m.get_u32(tn::field::ObjectId, tn::kNoId);
    record->name = m.get_string(interfaces::Name);
    for (size_t i = 0; i < counters::kCount; ++i) record->counters[i] = m.get_u64(counters::at(i));
    return record;
}

/// ifAdminStatus. The record notes that it was written, since a Set of another column mustn't bring a link up or down.
class AdminStatusPacker : public NumPacker {
  public:
    AdminStatusPacker() : NumPacker(tag::Integer) {}
    unsigned int get(const Data* record) const override { return static_cast<const Iface*>(record)->adminStatus; }
    void set(Data* record, unsigned int value) const override {
        auto& interface = static_cast<Iface&>(*record);
        interface.adminStatus = value;
        interface.isAdminStatusWritten = true;
    }
};

// Objects.

constexpr auto kInterfacesGroup = under(kMib2, 2);
constexpr Column<CountProvider::CountData> kIfNumber[] = {
    {1, "ifNumber", tag::Integer, &CountProvider::CountData::count},
};

// ifEntry
constexpr auto kIfEntry = under(kInterfacesGroup, 2, 1);
constexpr unsigned int kAdminStatusColumn = 7;
constexpr Column<Iface> kIfColumns[] = {
    {1, "ifIndex", tag::Integer, &Iface::index},
    {2, "ifDescr", tag::OctetString, &Iface::name},
    {3, "ifType", tag::Integer, &Iface::type},
    {4, "ifMtu", tag::Integer, &Iface::mtu},
    {5, "ifSpeed", tag::Gauge32, &Iface::speed},
    {6, "ifPhysAddress", tag::OctetString, &Iface::physAddress},
    {kAdminStatusColumn, "ifAdminStatus", tag::Integer, &Iface::adminStatus},  // see AdminStatusPacker
    {8, "ifOperStatus", tag::Integer, &Iface::operStatus},
    {9, "ifLastChange", tag::TimeTicks, Constant{0}},  // the owner keeps no such time
    {10, "ifInOctets", tag::Counter32, &Iface::inOctets32},
    {11, "ifInUcastPkts", tag::Counter32, &Iface::inUcast32},
    {12, "ifInNUcastPkts", tag::Counter32, Constant{0}},  // counted as unicast
    {13, "ifInDiscards", tag::Counter32, &Iface::inDiscards},
    {14, "ifInErrors", tag::Counter32, &Iface::inErrors},
    {15, "ifInUnknownProtos", tag::Counter32, Constant{0}},  // not counted
    {16, "ifOutOctets", tag::Counter32, &Iface::outOctets32},
    {17, "ifOutUcastPkts", tag::Counter32, &Iface::outUcast32},
    {18, "ifOutNUcastPkts", tag::Counter32, Constant{0}},  // counted as unicast
    {19, "ifOutDiscards", tag::Counter32, &Iface::outDiscards},
    {20, "ifOutErrors", tag::Counter32, &Iface::outErrors},
    {21, "ifOutQLen", tag::Gauge32, Constant{0}},                          // deprecated
    {22, "ifSpecific", tag::ObjectIdentifier, ConstantOID{kZeroDotZero}},  // deprecated
};
static_assert(ascending(kIfColumns));

// ifXEntry. Columns 14, 16, 17 and 19 aren't served.
constexpr auto kIfXEntry = under(kMib2, 31, 1, 1, 1);
constexpr Column<Iface> kIfXColumns[] = {
    {1, "ifName", tag::OctetString, &Iface::name},
    {2, "ifInMulticastPkts", tag::Counter32, Constant{0}},  // counted as unicast,
    {3, "ifInBroadcastPkts", tag::Counter32, Constant{0}},  // like the other three
    {4, "ifOutMulticastPkts", tag::Counter32, Constant{0}},
    {5, "ifOutBroadcastPkts", tag::Counter32, Constant{0}},
    {6, "ifHCInOctets", tag::Counter64, &Iface::inOctets64},
    {7, "ifHCInUcastPkts", tag::Counter64, &Iface::inUcast64},
    {8, "ifHCInMulticastPkts", tag::Counter64, Constant{0}},
    {9, "ifHCInBroadcastPkts", tag::Counter64, Constant{0}},
    {10, "ifHCOutOctets", tag::Counter64, &Iface::outOctets64},
    {11, "ifHCOutUcastPkts", tag::Counter64, &Iface::outUcast64},
    {12, "ifHCOutMulticastPkts", tag::Counter64, Constant{0}},
    {13, "ifHCOutBroadcastPkts", tag::Counter64, Constant{0}},
    {15, "ifHighSpeed", tag::Gauge32, Constant{0}},  // ifSpeed tells; always 0, on purpose
    {18, "ifAlias", tag::OctetString, &Iface::alias},
};
static_assert(ascending(kIfXColumns));

// Vendor counters. Columns first to last carry consecutive fields from firstField on; 3-10, 22-30 and 56-60 aren't
// served.
constexpr auto kStatsEntry = under(kVendorObjects, 14, 1, 1);
constexpr Column<IfStats> kStatsColumns[] = {
    {1, "interfaceStatsIndex", tag::Integer, &IfStats::id},
    {2, "interfaceStatsName", tag::OctetString, &IfStats::name},
};
struct Run {
    unsigned int first, last;
    uint32_t firstField;
};
constexpr Run kStatsRuns[] = {
    {11, 11, 1162}, {12, 12, 1161}, {13, 13, 1164}, {14, 14, 1163}, {15, 21, 1137}, {31, 31, 1116}, {32, 32, 1144},
    {33, 33, 1105}, {34, 41, 1107}, {42, 46, 1100}, {47, 47, 1106}, {48, 48, 1115}, {49, 55, 1145}, {61, 61, 1129},
    {62, 62, 1152}, {63, 63, 1159}, {64, 71, 1121}, {72, 75, 1117}, {76, 82, 1130}, {83, 88, 1153}, {89, 89, 1160},
};
constexpr size_t countersIn(std::span<const Run> runs) {
    size_t n = 0;
    for (const Run& run : runs) n += run.last - run.first + 1;
    return n;
}
static_assert(countersIn(kStatsRuns) == counters::kCount);
static_assert(counters::kCount == std::tuple_size_v<Counters>);

void addRuns(ColumnarBranch* branch) {
    for (const Run& run : kStatsRuns) {
        for (unsigned int column = run.first; column <= run.last; ++column) {
            const size_t counter = run.firstField + (column - run.first) - counters::kFirst.number;
            branch->addLeaf(column, packerFor(Column<IfStats>{column, "", tag::Counter64,
                                                              Element<IfStats>{&IfStats::counters, counter}}));
        }
    }
}

// Start.

template <std::unique_ptr<Data> (*Build)(const tn::message&), class Record>
MapTable* interfaceTable(const Column<Record>& index) {
    auto* rows = keep<GetAllProvider>(interfaces::kPath, oneRow<Build>, object_class::kWithInterfaceCounters);
    return keepTable(rows, {{packerFor(index), tn::field::ObjectId.number}});
}

}  // namespace

void start_interface_module() {
    MapTable* interfaces = interfaceTable<Iface::build>(kIfColumns[0]);
    addScalars(kInterfacesGroup, kIfNumber, keep<CountProvider>(interfaces));
    ColumnarBranch* entry = addColumnarBranch(OID(kIfEntry), interfaces);
    addColumns(entry, kIfColumns);
    entry->addLeaf(kAdminStatusColumn, keep<AdminStatusPacker>());
    addColumns(addColumnarBranch(OID(kIfXEntry), interfaces), kIfXColumns);

    MapTable* stats = interfaceTable<IfStats::build>(kStatsColumns[0]);
    ColumnarBranch* branch = addColumnarBranch(OID(kStatsEntry), stats);
    addColumns(branch, kStatsColumns);
    addRuns(branch);

    seedLinkStates();
    scribers.push_back({"interfaces", interfaceSubscribe, interfaceUnSubscribe});
}

}  // namespace snmp
