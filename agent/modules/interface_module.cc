// interfaces and ifXTable (RFC 2863), and the vendor's interface counters.
//
//     ifTable            INDEX { ifIndex }
//     ifXTable           INDEX { ifIndex }
//     vendor counters    INDEX { interface id }
//
// ifAdminStatus is writable. A Set of any other column gets a normal reply and changes nothing.

#include "agent/modules/interface_module.h"

#include "agent/mib/columns.h"
#include "agent/mib/keep.h"
#include "agent/mib/providers/count_provider.h"
#include "agent/mib/providers/get_all_provider.h"
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

// Values of ifAdminStatus and ifOperStatus.
constexpr unsigned int kUp = 1;
constexpr unsigned int kDown = 2;

// Records.

struct Iface : Data {
    unsigned long long inOctets = 0, outOctets = 0, inUcast = 0, outUcast = 0;
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

// ifSpeed and ifType by the kind of an interface.

enum class SpeedOf { Kind, Interface, Parent };

struct KindRow {
    uint32_t kind;
    SpeedOf speedOf;
    unsigned int speed;  // bits per second, if the kind determines it
    unsigned int type;   // IANAifType
};

constexpr KindRow kOtherKind = {interfaces::kind::Other, SpeedOf::Kind, 10'000'000, 1};  // compat: 63
// Owners on other platforms have more kinds than contracts/interfaces.h names. Those are plain numbers here.
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

/// Looks up the speeds that rows lack: owners may send them only when they are queried. An error reply counts as None.
void addSpeeds(std::vector<tn::message>& rows) {
    std::vector<tn::message*> lacking;
    std::vector<tn::message> requests;
    for (tn::message& row : rows) {
        const SpeedOf speedOf = kindRow(row.get_u32(interfaces::Kind)).speedOf;
        if (speedOf == SpeedOf::Kind || row.has(interfaces::SpeedSelector)) continue;
        lacking.push_back(&row);
        tn::message& request = requests.emplace_back(tn::request(interfaces::kPath, interfaces::kGetSpeed));
        request.insert_u32(tn::field::ObjectId, speedOf == SpeedOf::Parent ? row.get_u32(interfaces::Parent)
                                                                           : row.get_u32(tn::field::ObjectId));
    }
    const std::vector<tn::message> replies = tn::getLooper()->exchangeMessages(std::move(requests));
    for (size_t i = 0; i < lacking.size(); ++i)
        lacking[i]->insert_u32(interfaces::SpeedSelector, replies[i].get_u32(interfaces::SpeedSelector));
}

unsigned int bitsPerSecond(uint32_t speedSelector) {
    switch (speedSelector) {
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
    record->inOctets = m.get_u64(interfaces::InOctets);
    record->outOctets = m.get_u64(interfaces::OutOctets);
    record->inUcast = m.get_u64(interfaces::InUnicast);
    record->outUcast = m.get_u64(interfaces::OutUnicast);

    const KindRow row = kindRow(m.get_u32(interfaces::Kind));
    record->type = row.type;
    record->speed = row.speedOf == SpeedOf::Kind ? row.speed : bitsPerSecond(m.get_u32(interfaces::SpeedSelector));
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

/// ifAdminStatus. Marks the record as written: a Set of another column writes the record, too, but must not bring a
/// link up or down.
class AdminStatusPacker : public NumPacker {
  public:
    AdminStatusPacker() : NumPacker(tag::Integer) {}
    unsigned int get(const Data* record) const override { return static_cast<const Iface*>(record)->adminStatus; }
    void set(Data* record, unsigned int value) const override {
        auto& interface = static_cast<Iface&>(*record);
        interface.adminStatus = value;
        interface.isAdminStatusWritten = true;
    }
    bool accepts(const Data* record) const override { return get(record) == kUp || get(record) == kDown; }
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
    {1, "ifIndex", tag::Integer, {&Iface::index, tn::field::ObjectId}},
    {2, "ifDescr", tag::OctetString, {&Iface::name, interfaces::Name}},
    {3, "ifType", tag::Integer, {&Iface::type, interfaces::Kind}},
    {4, "ifMtu", tag::Integer, {&Iface::mtu, interfaces::Mtu}},
    {5, "ifSpeed", tag::Gauge32, {&Iface::speed, interfaces::Kind, interfaces::Parent, interfaces::SpeedSelector}},
    {6, "ifPhysAddress", tag::OctetString, {&Iface::physAddress, interfaces::Mac}},
    {kAdminStatusColumn,
     "ifAdminStatus",
     tag::Integer,
     {&Iface::adminStatus, tn::field::Disabled},
     Access::ReadWrite},  // see AdminStatusPacker
    {8, "ifOperStatus", tag::Integer, {&Iface::operStatus, interfaces::Running}},
    {9, "ifLastChange", tag::TimeTicks, Constant{0}},  // compat: 65, the owner doesn't record it
    {10, "ifInOctets", tag::Counter32, {&Iface::inOctets, interfaces::InOctets}},
    {11, "ifInUcastPkts", tag::Counter32, {&Iface::inUcast, interfaces::InUnicast}},
    {12, "ifInNUcastPkts", tag::Counter32, Constant{0}},  // compat: 64, counted as unicast
    {13, "ifInDiscards", tag::Counter32, {&Iface::inDiscards, interfaces::InDiscards}},
    {14, "ifInErrors", tag::Counter32, {&Iface::inErrors, interfaces::InErrors}},
    {15, "ifInUnknownProtos", tag::Counter32, Constant{0}},  // not counted
    {16, "ifOutOctets", tag::Counter32, {&Iface::outOctets, interfaces::OutOctets}},
    {17, "ifOutUcastPkts", tag::Counter32, {&Iface::outUcast, interfaces::OutUnicast}},
    {18, "ifOutNUcastPkts", tag::Counter32, Constant{0}},  // counted as unicast
    {19, "ifOutDiscards", tag::Counter32, {&Iface::outDiscards, interfaces::OutDiscards}},
    {20, "ifOutErrors", tag::Counter32, {&Iface::outErrors, interfaces::OutErrors}},
    {21, "ifOutQLen", tag::Gauge32, Constant{0}},                          // deprecated
    {22, "ifSpecific", tag::ObjectIdentifier, ConstantOID{kZeroDotZero}},  // deprecated
};
static_assert(ascending(kIfColumns));

// ifXEntry. Columns 14, 16, 17 and 19 aren't served (compat: 66).
constexpr auto kIfXEntry = under(kMib2, 31, 1, 1, 1);
constexpr Column<Iface> kIfXColumns[] = {
    {1, "ifName", tag::OctetString, {&Iface::name, interfaces::Name}},
    // All packets are counted as unicast.
    {2, "ifInMulticastPkts", tag::Counter32, Constant{0}},
    {3, "ifInBroadcastPkts", tag::Counter32, Constant{0}},
    {4, "ifOutMulticastPkts", tag::Counter32, Constant{0}},
    {5, "ifOutBroadcastPkts", tag::Counter32, Constant{0}},
    {6, "ifHCInOctets", tag::Counter64, {&Iface::inOctets, interfaces::InOctets}},
    {7, "ifHCInUcastPkts", tag::Counter64, {&Iface::inUcast, interfaces::InUnicast}},
    {8, "ifHCInMulticastPkts", tag::Counter64, Constant{0}},
    {9, "ifHCInBroadcastPkts", tag::Counter64, Constant{0}},
    {10, "ifHCOutOctets", tag::Counter64, {&Iface::outOctets, interfaces::OutOctets}},
    {11, "ifHCOutUcastPkts", tag::Counter64, {&Iface::outUcast, interfaces::OutUnicast}},
    {12, "ifHCOutMulticastPkts", tag::Counter64, Constant{0}},
    {13, "ifHCOutBroadcastPkts", tag::Counter64, Constant{0}},
    {15, "ifHighSpeed", tag::Gauge32, Constant{0}},  // compat: 62, ifSpeed has it
    {18, "ifAlias", tag::OctetString, {&Iface::alias, tn::field::Comment}},
};
static_assert(ascending(kIfXColumns));

/// The counter that the owner reports in this field.
constexpr ColumnValue<IfStats> counter(uint32_t field) {
    return {Element<IfStats>{&IfStats::counters, field - counters::kFirst.number}, tn::u64_id(field)};
}

// interfaceStatsEntry: docs/interface-counters.md says what each counts. Columns 3-10, 22-30 and 56-60 aren't served.
constexpr auto kStatsEntry = under(kVendorObjects, 14, 1, 1);
constexpr Column<IfStats> kStatsColumns[] = {
    {1, "interfaceStatsIndex", tag::Integer, {&IfStats::id, tn::field::ObjectId}},
    {2, "interfaceStatsName", tag::OctetString, {&IfStats::name, interfaces::Name}},
    {11, "interfaceStatsHostRxOctets", tag::Counter64, counter(1162)},
    {12, "interfaceStatsHostRxPackets", tag::Counter64, counter(1161)},
    {13, "interfaceStatsHostTxOctets", tag::Counter64, counter(1164)},
    {14, "interfaceStatsHostTxPackets", tag::Counter64, counter(1163)},
    {15, "interfaceStatsRxLengthErrors", tag::Counter64, counter(1137)},
    {16, "interfaceStatsRxCrcErrors", tag::Counter64, counter(1138)},
    {17, "interfaceStatsRxFrameErrors", tag::Counter64, counter(1139)},
    {18, "interfaceStatsRxFifoErrors", tag::Counter64, counter(1140)},
    {19, "interfaceStatsRxMissedErrors", tag::Counter64, counter(1141)},
    {20, "interfaceStatsRxNoHandler", tag::Counter64, counter(1142)},
    {21, "interfaceStatsRxOtherHost", tag::Counter64, counter(1143)},
    {31, "interfaceStatsRxOctets", tag::Counter64, counter(1116)},
    {32, "interfaceStatsRxFrames", tag::Counter64, counter(1144)},
    {33, "interfaceStatsRxUndersize", tag::Counter64, counter(1105)},
    {34, "interfaceStatsRx64", tag::Counter64, counter(1107)},
    {35, "interfaceStatsRx65To127", tag::Counter64, counter(1108)},
    {36, "interfaceStatsRx128To255", tag::Counter64, counter(1109)},
    {37, "interfaceStatsRx256To511", tag::Counter64, counter(1110)},
    {38, "interfaceStatsRx512To1023", tag::Counter64, counter(1111)},
    {39, "interfaceStatsRx1024To1518", tag::Counter64, counter(1112)},
    {40, "interfaceStatsRx1519Up", tag::Counter64, counter(1113)},
    {41, "interfaceStatsRxOversize", tag::Counter64, counter(1114)},
    {42, "interfaceStatsRxBroadcast", tag::Counter64, counter(1100)},
    {43, "interfaceStatsRxMulticast", tag::Counter64, counter(1101)},
    {44, "interfaceStatsHostRxMulticast", tag::Counter64, counter(1102)},
    {45, "interfaceStatsRxFcsErrors", tag::Counter64, counter(1103)},
    {46, "interfaceStatsRxAlignErrors", tag::Counter64, counter(1104)},
    {47, "interfaceStatsRxFragments", tag::Counter64, counter(1106)},
    {48, "interfaceStatsRxJabbers", tag::Counter64, counter(1115)},
    {49, "interfaceStatsRxInRangeErrors", tag::Counter64, counter(1145)},
    {50, "interfaceStatsRxOutOfRange", tag::Counter64, counter(1146)},
    {51, "interfaceStatsRxTooLong", tag::Counter64, counter(1147)},
    {52, "interfaceStatsRxInternalErrors", tag::Counter64, counter(1148)},
    {53, "interfaceStatsRxSymbolErrors", tag::Counter64, counter(1149)},
    {54, "interfaceStatsRxControl", tag::Counter64, counter(1150)},
    {55, "interfaceStatsRxUnknownOpcodes", tag::Counter64, counter(1151)},
    {61, "interfaceStatsTxOctets", tag::Counter64, counter(1129)},
    {62, "interfaceStatsTxFrames", tag::Counter64, counter(1152)},
    {63, "interfaceStatsTxErrors", tag::Counter64, counter(1159)},
    {64, "interfaceStatsTx64", tag::Counter64, counter(1121)},
    {65, "interfaceStatsTx65To127", tag::Counter64, counter(1122)},
    {66, "interfaceStatsTx128To255", tag::Counter64, counter(1123)},
    {67, "interfaceStatsTx256To511", tag::Counter64, counter(1124)},
    {68, "interfaceStatsTx512To1023", tag::Counter64, counter(1125)},
    {69, "interfaceStatsTx1024To1518", tag::Counter64, counter(1126)},
    {70, "interfaceStatsTx1519Up", tag::Counter64, counter(1127)},
    {71, "interfaceStatsTxDrops", tag::Counter64, counter(1128)},
    {72, "interfaceStatsTxBroadcast", tag::Counter64, counter(1117)},
    {73, "interfaceStatsTxMulticast", tag::Counter64, counter(1118)},
    {74, "interfaceStatsTxControl", tag::Counter64, counter(1119)},
    {75, "interfaceStatsTxFifoErrors", tag::Counter64, counter(1120)},
    {76, "interfaceStatsTxCollisions", tag::Counter64, counter(1130)},
    {77, "interfaceStatsTxSingleCollision", tag::Counter64, counter(1131)},
    {78, "interfaceStatsTxMultipleCollision", tag::Counter64, counter(1132)},
    {79, "interfaceStatsTxLateCollisions", tag::Counter64, counter(1133)},
    {80, "interfaceStatsTxExcessCollisions", tag::Counter64, counter(1134)},
    {81, "interfaceStatsTxDeferred", tag::Counter64, counter(1135)},
    {82, "interfaceStatsTxExcessDeferral", tag::Counter64, counter(1136)},
    {83, "interfaceStatsTxInternalErrors", tag::Counter64, counter(1153)},
    {84, "interfaceStatsTxCarrierSense", tag::Counter64, counter(1154)},
    {85, "interfaceStatsTxAborted", tag::Counter64, counter(1155)},
    {86, "interfaceStatsTxCarrierErrors", tag::Counter64, counter(1156)},
    {87, "interfaceStatsTxHeartbeatErrors", tag::Counter64, counter(1157)},
    {88, "interfaceStatsTxWindowErrors", tag::Counter64, counter(1158)},
    {89, "interfaceStatsTxCompressed", tag::Counter64, counter(1160)},
};
static_assert(ascending(kStatsColumns));
static_assert(std::size(kStatsColumns) == 2 + counters::kCount && counters::kCount == std::tuple_size_v<Counters>);

// Start.

template <std::unique_ptr<Data> (*Build)(const tn::message&), class Record>
MapTable* interfaceTable(const Column<Record>& index, GetAllProvider::Supplement supplement = {}) {
    auto* rows =
        keep<GetAllProvider>(interfaces::kPath, oneRow<Build>, object_class::kWithInterfaceCounters, supplement);
    return keepTable(rows, {{index, tn::field::ObjectId.number}});
}

}  // namespace

void start_interface_module() {
    MapTable* interfaces = interfaceTable<Iface::build>(kIfColumns[0], {interfaces::SpeedSelector.full(), addSpeeds});
    addScalars(kInterfacesGroup, kIfNumber, keep<CountProvider>(interfaces));
    addTable(OID(kIfEntry), "ifEntry", interfaces, kIfColumns)
        ->setPacker(kAdminStatusColumn, keep<AdminStatusPacker>());
    addTable(OID(kIfXEntry), "ifXEntry", interfaces, kIfXColumns);

    MapTable* stats = interfaceTable<IfStats::build>(kStatsColumns[0]);
    addTable(OID(kStatsEntry), "interfaceStatsEntry", stats, kStatsColumns);

    seedLinkStates();
    scribers.push_back({"interfaces", interfaceSubscribe, interfaceUnSubscribe});
}

}  // namespace snmp
