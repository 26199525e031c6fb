// interfaces and ifXTable (RFC 2863), in place of the agent's.
//
//     ifTable     INDEX { ifIndex }
//     ifXTable    INDEX { ifIndex }
//
// ifAdminStatus is writable, as in the agent. A Set of any other column changes nothing.

#include <algorithm>

#include "agent/mib/providers/get_all_provider.h"
#include "agent/mib/time_ticks.h"
#include "agent/traps/interface_traps.h"
#include "contracts/interface_counters.h"
#include "contracts/interfaces.h"
#include "contracts/object_class.h"
#include "ifx.h"
#include "tn/fields.h"

namespace ifx {

namespace {

namespace counters = contracts::interface_counters;
namespace interfaces = contracts::interfaces;
namespace tag = snmp::tag;
using snmp::Access;
using snmp::Constant;

// ifAdminStatus and ifOperStatus.
constexpr unsigned int kUp = 1;
constexpr unsigned int kDown = 2;
// ifLinkUpDownTrapEnable, and TruthValue (RFC 2579).
constexpr unsigned int kYes = 1;
constexpr unsigned int kNo = 2;
constexpr unsigned int yesOrNo(bool is) { return is ? kYes : kNo; }

/// Of a running link whose speed the kernel doesn't know, such as a tunnel or a virtual machine's interface: as the
/// kernel reports for veth. Pollers leave out links without a speed. Mbit/s.
constexpr unsigned int kNominalSpeed = 10'000;

struct Interface : snmp::Data {
    unsigned int index = 0;
    std::string name;
    std::string alias;
    std::vector<unsigned char> physAddress;
    unsigned int type = 0;  // IANAifType
    unsigned int mtu = 0;
    unsigned int speed = 0, highSpeed = 0;         // bit/s, saturated; Mbit/s
    unsigned int adminStatus = 0, operStatus = 0;  // kUp, kDown
    bool isAdminStatusWritten = false;
    unsigned int lastChange = 0, discontinuity = 0;  // sysUpTime
    unsigned int sendsTraps = 0, isPromiscuous = 0, hasConnector = 0;
    unsigned long long inOctets = 0, inUnicast = 0, inMulticast = 0, inBroadcast = 0, inNotUnicast = 0;
    unsigned long long outOctets = 0, outUnicast = 0, outMulticast = 0, outBroadcast = 0, outNotUnicast = 0;
    unsigned long long unknownProtocols = 0;
    unsigned int inDiscards = 0, inErrors = 0, outDiscards = 0, outErrors = 0;
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
    void reverseBuild(tn::message& m) override;
};

std::unique_ptr<snmp::Data> Interface::build(const tn::message& m) {
    auto record = std::make_unique<Interface>();
    record->index = m.get_u32(tn::field::ObjectId);
    record->name = m.get_string(interfaces::Name);
    record->alias = m.get_string(tn::field::Comment);
    record->physAddress = m.get_raw(interfaces::Mac);
    record->type = m.get_u32(interfaces::Type);
    record->mtu = m.get_u32(interfaces::Mtu);
    const bool isRunning = m.get_bool(interfaces::Running);
    record->highSpeed = m.get_u32(interfaces::Speed, isRunning ? kNominalSpeed : 0);
    record->speed = static_cast<unsigned int>(std::min(record->highSpeed * 1'000'000ULL, 0xffff'ffffULL));
    record->operStatus = isRunning ? kUp : kDown;
    record->adminStatus = m.get_bool(tn::field::Disabled) ? kDown : kUp;
    record->lastChange = snmp::sysUpTimeAt(std::chrono::seconds(m.get_u32(interfaces::LastChange)));
    record->discontinuity = snmp::sysUpTimeAt(std::chrono::seconds(m.get_u32(interfaces::Discontinuity)));
    record->sendsTraps = yesOrNo(snmp::areLinkTrapsSent(record->index));
    record->isPromiscuous = yesOrNo(m.get_bool(interfaces::Promiscuous));
    record->hasConnector = yesOrNo(m.get_bool(interfaces::Connector));

    record->inOctets = m.get_u64(interfaces::InOctets);
    record->inUnicast = m.get_u64(interfaces::InUnicastOnly);
    record->inMulticast = m.get_u64(counters::HostRxMulticast);
    record->inBroadcast = m.get_u64(counters::RxBroadcast);
    record->inNotUnicast = record->inMulticast + record->inBroadcast;
    record->outOctets = m.get_u64(interfaces::OutOctets);
    record->outUnicast = m.get_u64(interfaces::OutUnicastOnly);
    record->outMulticast = m.get_u64(counters::TxMulticast);
    record->outBroadcast = m.get_u64(counters::TxBroadcast);
    record->outNotUnicast = record->outMulticast + record->outBroadcast;
    record->unknownProtocols = m.get_u64(counters::RxNoHandler);
    record->inDiscards = m.get_u32(interfaces::InDiscards);
    record->inErrors = m.get_u32(interfaces::InErrors);
    record->outDiscards = m.get_u32(interfaces::OutDiscards);
    record->outErrors = m.get_u32(interfaces::OutErrors);
    return record;
}

void Interface::reverseBuild(tn::message& m) {
    m.insert_u32(tn::field::ObjectId, index);
    if (isAdminStatusWritten && (adminStatus == kUp || adminStatus == kDown))
        m.insert_bool(tn::field::Disabled, adminStatus == kDown);
}

/// ifAdminStatus. Marks the record as written: a Set of another column writes the record, too, but must not bring a
/// link up or down.
class AdminStatusPacker : public snmp::NumPacker {
  public:
    AdminStatusPacker() : NumPacker(tag::Integer) {}
    unsigned int get(const snmp::Data* record) const override {
        return static_cast<const Interface*>(record)->adminStatus;
    }
    void set(snmp::Data* record, unsigned int value) const override {
        auto& interface = static_cast<Interface&>(*record);
        interface.adminStatus = value;
        interface.isAdminStatusWritten = true;
    }
    bool accepts(const snmp::Data* record) const override { return get(record) == kUp || get(record) == kDown; }
};

constexpr auto kIfEntry = snmp::under(snmp::kMib2, 2, 2, 1);
constexpr unsigned int kAdminStatusColumn = 7;
constexpr snmp::Column<Interface> kIfColumns[] = {
    {1, "ifIndex", tag::Integer, {&Interface::index, tn::field::ObjectId}},
    {2, "ifDescr", tag::OctetString, {&Interface::name, interfaces::Name}},
    {3, "ifType", tag::Integer, {&Interface::type, interfaces::Type}},
    {4, "ifMtu", tag::Integer, {&Interface::mtu, interfaces::Mtu}},
    {5, "ifSpeed", tag::Gauge32, {&Interface::speed, interfaces::Speed, interfaces::Running}},
    {6, "ifPhysAddress", tag::OctetString, {&Interface::physAddress, interfaces::Mac}},
    {kAdminStatusColumn,
     "ifAdminStatus",
     tag::Integer,
     {&Interface::adminStatus, tn::field::Disabled},
     Access::ReadWrite},  // see AdminStatusPacker
    {8, "ifOperStatus", tag::Integer, {&Interface::operStatus, interfaces::Running}},
    {9, "ifLastChange", tag::TimeTicks, {&Interface::lastChange, interfaces::LastChange}},
    {10, "ifInOctets", tag::Counter32, {&Interface::inOctets, interfaces::InOctets}},
    {11, "ifInUcastPkts", tag::Counter32, {&Interface::inUnicast, interfaces::InUnicastOnly}},
    {12,
     "ifInNUcastPkts",
     tag::Counter32,
     {&Interface::inNotUnicast, counters::HostRxMulticast, counters::RxBroadcast}},
    {13, "ifInDiscards", tag::Counter32, {&Interface::inDiscards, interfaces::InDiscards}},
    {14, "ifInErrors", tag::Counter32, {&Interface::inErrors, interfaces::InErrors}},
    {15, "ifInUnknownProtos", tag::Counter32, {&Interface::unknownProtocols, counters::RxNoHandler}},
    {16, "ifOutOctets", tag::Counter32, {&Interface::outOctets, interfaces::OutOctets}},
    {17, "ifOutUcastPkts", tag::Counter32, {&Interface::outUnicast, interfaces::OutUnicastOnly}},
    {18, "ifOutNUcastPkts", tag::Counter32, {&Interface::outNotUnicast, counters::TxMulticast, counters::TxBroadcast}},
    {19, "ifOutDiscards", tag::Counter32, {&Interface::outDiscards, interfaces::OutDiscards}},
    {20, "ifOutErrors", tag::Counter32, {&Interface::outErrors, interfaces::OutErrors}},
    {21, "ifOutQLen", tag::Gauge32, Constant{0}},                                      // deprecated
    {22, "ifSpecific", tag::ObjectIdentifier, snmp::ConstantOID{snmp::kZeroDotZero}},  // deprecated
};
static_assert(snmp::ascending(kIfColumns));

constexpr auto kIfXEntry = snmp::under(kIfMibObjects, 1, 1);
constexpr snmp::Column<Interface> kIfXColumns[] = {
    {1, "ifName", tag::OctetString, {&Interface::name, interfaces::Name}},
    {2, "ifInMulticastPkts", tag::Counter32, {&Interface::inMulticast, counters::HostRxMulticast}},
    {3, "ifInBroadcastPkts", tag::Counter32, {&Interface::inBroadcast, counters::RxBroadcast}},
    {4, "ifOutMulticastPkts", tag::Counter32, {&Interface::outMulticast, counters::TxMulticast}},
    {5, "ifOutBroadcastPkts", tag::Counter32, {&Interface::outBroadcast, counters::TxBroadcast}},
    {6, "ifHCInOctets", tag::Counter64, {&Interface::inOctets, interfaces::InOctets}},
    {7, "ifHCInUcastPkts", tag::Counter64, {&Interface::inUnicast, interfaces::InUnicastOnly}},
    {8, "ifHCInMulticastPkts", tag::Counter64, {&Interface::inMulticast, counters::HostRxMulticast}},
    {9, "ifHCInBroadcastPkts", tag::Counter64, {&Interface::inBroadcast, counters::RxBroadcast}},
    {10, "ifHCOutOctets", tag::Counter64, {&Interface::outOctets, interfaces::OutOctets}},
    {11, "ifHCOutUcastPkts", tag::Counter64, {&Interface::outUnicast, interfaces::OutUnicastOnly}},
    {12, "ifHCOutMulticastPkts", tag::Counter64, {&Interface::outMulticast, counters::TxMulticast}},
    {13, "ifHCOutBroadcastPkts", tag::Counter64, {&Interface::outBroadcast, counters::TxBroadcast}},
    {14, "ifLinkUpDownTrapEnable", tag::Integer, {&Interface::sendsTraps, tn::field::ObjectId}},
    {15, "ifHighSpeed", tag::Gauge32, {&Interface::highSpeed, interfaces::Speed, interfaces::Running}},
    {16, "ifPromiscuousMode", tag::Integer, {&Interface::isPromiscuous, interfaces::Promiscuous}},
    {17, "ifConnectorPresent", tag::Integer, {&Interface::hasConnector, interfaces::Connector}},
    {18, "ifAlias", tag::OctetString, {&Interface::alias, tn::field::Comment}},
    {19, "ifCounterDiscontinuityTime", tag::TimeTicks, {&Interface::discontinuity, interfaces::Discontinuity}},
};
static_assert(snmp::ascending(kIfXColumns));

}  // namespace

void startInterfaces() {
    auto* rows = snmp::keep<snmp::GetAllProvider>(interfaces::kPath, snmp::oneRow<Interface::build>,
                                                  contracts::object_class::kWithInterfaceCounters);
    snmp::MapTable* table = snmp::keepTable(rows, {{kIfColumns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kIfEntry), "ifEntry", table, kIfColumns)
        ->setPacker(kAdminStatusColumn, snmp::keep<AdminStatusPacker>());
    snmp::addTable(snmp::OID(kIfXEntry), "ifXEntry", table, kIfXColumns);
}

}  // namespace ifx
