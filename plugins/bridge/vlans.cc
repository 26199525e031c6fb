// The VLANs of the bridge, if it is VLAN-aware, and the hosts in them (RFC 4363). Each VLAN has its own forwarding
// database, with the VLAN's number.
//
//     dot1qFdbTable            INDEX { dot1qFdbId }
//     dot1qTpFdbTable          INDEX { dot1qFdbId, dot1qTpFdbAddress }
//     dot1qVlanCurrentTable    INDEX { dot1qVlanTimeMark, dot1qVlanIndex }    the time mark is 0 in all rows
//     dot1qVlanStaticTable     INDEX { dot1qVlanIndex }
//     dot1qPortVlanTable       INDEX { dot1dBasePort }

#include "agent/mib/providers/get_all_provider.h"
#include "bridge.h"
#include "contracts/object_class.h"
#include "tn/fields.h"

namespace bridge {

namespace {

namespace hosts = contracts::bridge_hosts;
namespace ports = contracts::bridge_ports;
namespace vlans = contracts::bridge_vlans;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

constexpr unsigned int kMacOctets = 6;
constexpr int kMostVlans = 4094;
enum TruthValue { True = 1 };
enum RowStatus { Active = 1 };
enum VlanStatus { Permanent = 2 };
enum EnabledStatus { Disabled = 2 };

struct Vlan : snmp::Data {
    unsigned int id = 0, learned = 0;
    std::vector<unsigned char> egress, untagged;  // PortList
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Vlan>();
        record->id = m.get_u32(tn::field::ObjectId);
        record->egress = m.get_raw(vlans::Egress);
        record->untagged = m.get_raw(vlans::Untagged);
        record->learned = m.get_u32(vlans::Learned);
        return record;
    }
};

struct Host : snmp::Data {
    unsigned int vlan = 0, port = 0, status = 0;  // dot1qTpFdbStatus
    std::vector<unsigned char> mac;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Host>();
        record->vlan = m.get_u32(hosts::Vlan);
        record->mac = m.get_raw(hosts::Mac);
        record->port = m.get_u32(hosts::Port);
        record->status = m.get_u32(hosts::Status);
        return record;
    }
};

struct Port : snmp::Data {
    enum FrameTypes : unsigned int { All = 1, OnlyTagged = 2 };
    unsigned int number = 0, pvid = 0, frameTypes = All;
    /// Ports of a bridge that isn't VLAN-aware have no row.
    static std::unique_ptr<snmp::Data> build(const tn::message& m, snmp::Rows& rows) {
        if (!m.has(ports::Pvid)) return nullptr;
        auto record = std::make_unique<Port>();
        record->number = m.get_u32(tn::field::ObjectId);
        record->pvid = m.get_u32(ports::Pvid);
        record->frameTypes = record->pvid == 0 ? OnlyTagged : All;
        rows.push_back(std::move(record));
        return nullptr;
    }
};

constexpr auto kObjects = snmp::under(kDot1dBridge, 7, 1);

constexpr auto kBase = snmp::under(kObjects, 1);
constexpr snmp::Column<State> kBaseObjects[] = {
    {1, "dot1qVlanVersionNumber", tag::Integer, snmp::Constant{1}},
    {2, "dot1qMaxVlanId", tag::Integer, snmp::Constant{kMostVlans}},
    {3, "dot1qMaxSupportedVlans", tag::Gauge32, snmp::Constant{kMostVlans}},
    {4, "dot1qNumVlans", tag::Gauge32, &State::vlans},
    {5, "dot1qGvrpStatus", tag::Integer, snmp::Constant{Disabled}},
};
static_assert(snmp::ascending(kBaseObjects));

constexpr auto kFdbEntry = snmp::under(kObjects, 2, 1, 1);
constexpr snmp::Column<Vlan> kFdbId[] = {{1, "dot1qFdbId", tag::Gauge32, &Vlan::id}};  // not accessible
constexpr snmp::Column<Vlan> kFdbColumns[] = {{2, "dot1qFdbDynamicCount", tag::Counter32, &Vlan::learned}};

constexpr auto kTpFdbEntry = snmp::under(kObjects, 2, 2, 1);
constexpr snmp::Column<Host> kTpFdbIndexes[] = {
    // not accessible
    {1, "dot1qFdbId", tag::Gauge32, &Host::vlan},
    {1, "dot1qTpFdbAddress", tag::OctetString, snmp::FixedOctets<Host>{&Host::mac, kMacOctets}},
};
constexpr snmp::Column<Host> kTpFdbColumns[] = {
    {2, "dot1qTpFdbPort", tag::Integer, &Host::port},
    {3, "dot1qTpFdbStatus", tag::Integer, &Host::status},
};

constexpr auto kVlan = snmp::under(kObjects, 4);
constexpr auto kCurrentEntry = snmp::under(kVlan, 2, 1);
constexpr snmp::Column<Vlan> kVlanIndexes[] = {
    // not accessible
    {1, "dot1qVlanTimeMark", tag::TimeTicks, snmp::Constant{0}},
    {2, "dot1qVlanIndex", tag::Gauge32, &Vlan::id},
};
constexpr snmp::Column<Vlan> kCurrentColumns[] = {
    {3, "dot1qVlanFdbId", tag::Gauge32, &Vlan::id},
    {4, "dot1qVlanCurrentEgressPorts", tag::OctetString, &Vlan::egress},
    {5, "dot1qVlanCurrentUntaggedPorts", tag::OctetString, &Vlan::untagged},
    {6, "dot1qVlanStatus", tag::Integer, snmp::Constant{Permanent}},
};
static_assert(snmp::ascending(kCurrentColumns));

constexpr auto kStaticEntry = snmp::under(kVlan, 3, 1);
constexpr snmp::Column<Vlan> kStaticColumns[] = {
    {1, "dot1qVlanStaticName", tag::OctetString, snmp::ConstantText{""}},  // the kernel has no names
    {2, "dot1qVlanStaticEgressPorts", tag::OctetString, &Vlan::egress},
    {3, "dot1qVlanForbiddenEgressPorts", tag::OctetString, snmp::ConstantText{""}},
    {4, "dot1qVlanStaticUntaggedPorts", tag::OctetString, &Vlan::untagged},
    {5, "dot1qVlanStaticRowStatus", tag::Integer, snmp::Constant{Active}},
};
static_assert(snmp::ascending(kStaticColumns));

constexpr auto kPortVlanEntry = snmp::under(kVlan, 5, 1);
constexpr snmp::Column<Port> kPortIndex[] = {{1, "dot1dBasePort", tag::Integer, &Port::number}};
constexpr snmp::Column<Port> kPortVlanColumns[] = {
    {1, "dot1qPvid", tag::Gauge32, &Port::pvid},
    {2, "dot1qPortAcceptableFrameTypes", tag::Integer, &Port::frameTypes},
    {3, "dot1qPortIngressFiltering", tag::Integer, snmp::Constant{True}},
    {4, "dot1qPortGvrpStatus", tag::Integer, snmp::Constant{Disabled}},
};
static_assert(snmp::ascending(kPortVlanColumns));

}  // namespace

void startVlans() {
    snmp::addScalars(kBase, kBaseObjects, keepState([](const State& state) { return state.isVlanAware; }));

    constexpr uint32_t kId = tn::field::ObjectId.number;
    auto* rows = snmp::keep<snmp::GetAllProvider>(vlans::kPath, snmp::oneRow<Vlan::build>, kWhole);
    snmp::MapTable* table = snmp::keepTable(rows, {{kFdbId[0], kId}});
    snmp::addTable(snmp::OID(kFdbEntry), "dot1qFdbEntry", table, kFdbColumns);
    table = snmp::keepTable(rows, {{kVlanIndexes[0], snmp::Packer::kNoField}, {kVlanIndexes[1], kId}});
    snmp::addTable(snmp::OID(kCurrentEntry), "dot1qVlanCurrentEntry", table, kCurrentColumns);
    table = snmp::keepTable(rows, {{kVlanIndexes[1], kId}});
    snmp::addTable(snmp::OID(kStaticEntry), "dot1qVlanStaticEntry", table, kStaticColumns);

    auto* members = snmp::keep<snmp::GetAllProvider>(ports::kPath, Port::build, kWhole);
    table = snmp::keepTable(members, {{kPortIndex[0], kId}});
    snmp::addTable(snmp::OID(kPortVlanEntry), "dot1qPortVlanEntry", table, kPortVlanColumns);

    auto* addresses = snmp::keep<snmp::GetAllProvider>(hosts::kByVlanPath, snmp::oneRow<Host::build>, kWhole);
    table = snmp::keepTable(addresses, {{kTpFdbIndexes[0], hosts::Vlan.number}, {kTpFdbIndexes[1], hosts::Mac.number}});
    snmp::addTable(snmp::OID(kTpFdbEntry), "dot1qTpFdbEntry", table, kTpFdbColumns);
}

}  // namespace bridge
