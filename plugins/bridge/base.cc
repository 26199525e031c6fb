// The ports of the bridge, what they forwarded, and the hosts behind them (RFC 4188).
//
//     dot1dBasePortTable    INDEX { dot1dBasePort }
//     dot1dTpFdbTable       INDEX { dot1dTpFdbAddress }
//     dot1dTpPortTable      INDEX { dot1dTpPort }

#include "agent/mib/providers/get_all_provider.h"
#include "bridge.h"
#include "contracts/object_class.h"
#include "tn/fields.h"

namespace bridge {

namespace {

namespace hosts = contracts::bridge_hosts;
namespace ports = contracts::bridge_ports;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

constexpr unsigned int kMacOctets = 6;
constexpr int kTransparentOnly = 2;  // dot1dBaseType

struct Port : snmp::Data {
    unsigned int number = 0, ifIndex = 0, mtu = 0;
    unsigned int inFrames = 0, outFrames = 0, inDiscards = 0;  // wrap at 2^32
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Port>();
        record->number = m.get_u32(tn::field::ObjectId);
        record->ifIndex = m.get_u32(ports::Ifindex);
        record->mtu = m.get_u32(ports::Mtu);
        record->inFrames = static_cast<unsigned int>(m.get_u64(ports::InFrames));
        record->outFrames = static_cast<unsigned int>(m.get_u64(ports::OutFrames));
        record->inDiscards = static_cast<unsigned int>(m.get_u64(ports::InDiscards));
        return record;
    }
};

struct Host : snmp::Data {
    unsigned int port = 0, status = 0;  // dot1dTpFdbStatus
    std::vector<unsigned char> mac;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Host>();
        record->mac = m.get_raw(hosts::Mac);
        record->port = m.get_u32(hosts::Port);
        record->status = m.get_u32(hosts::Status);
        return record;
    }
};

constexpr auto kDot1dBase = snmp::under(kDot1dBridge, 1);
constexpr snmp::Column<State> kBaseObjects[] = {
    {2, "dot1dBaseNumPorts", tag::Integer, &State::ports},
    {3, "dot1dBaseType", tag::Integer, snmp::Constant{kTransparentOnly}},
};

constexpr auto kBasePortEntry = snmp::under(kDot1dBase, 4, 1);
constexpr snmp::Column<Port> kBasePortColumns[] = {
    {1, "dot1dBasePort", tag::Integer, &Port::number},
    {2, "dot1dBasePortIfIndex", tag::Integer, &Port::ifIndex},
    {3, "dot1dBasePortCircuit", tag::ObjectIdentifier, snmp::ConstantOID{snmp::kZeroDotZero}},
    {4, "dot1dBasePortDelayExceededDiscards", tag::Counter32, snmp::Constant{0}},  // frames have no time limit
};
static_assert(snmp::ascending(kBasePortColumns));

constexpr auto kDot1dTp = snmp::under(kDot1dBridge, 4);
constexpr snmp::Column<State> kTpObjects[] = {
    {2, "dot1dTpAgingTime", tag::Integer, &State::ageingTime},
};

constexpr auto kFdbEntry = snmp::under(kDot1dTp, 3, 1);
constexpr snmp::Column<Host> kFdbColumns[] = {
    {1, "dot1dTpFdbAddress", tag::OctetString, snmp::FixedOctets<Host>{&Host::mac, kMacOctets}},
    {2, "dot1dTpFdbPort", tag::Integer, &Host::port},
    {3, "dot1dTpFdbStatus", tag::Integer, &Host::status},
};
static_assert(snmp::ascending(kFdbColumns));

constexpr auto kTpPortEntry = snmp::under(kDot1dTp, 4, 1);
constexpr snmp::Column<Port> kTpPortColumns[] = {
    {1, "dot1dTpPort", tag::Integer, &Port::number},
    {2, "dot1dTpPortMaxInfo", tag::Integer, &Port::mtu},
    {3, "dot1dTpPortInFrames", tag::Counter32, &Port::inFrames},
    {4, "dot1dTpPortOutFrames", tag::Counter32, &Port::outFrames},
    {5, "dot1dTpPortInDiscards", tag::Counter32, &Port::inDiscards},
};
static_assert(snmp::ascending(kTpPortColumns));

}  // namespace

void startBase() {
    snmp::DataProvider* state = keepState([](const State&) { return true; });
    snmp::addScalars(kDot1dBase, kBaseObjects, state);
    snmp::addScalars(kDot1dTp, kTpObjects, state);

    auto* rows = snmp::keep<snmp::GetAllProvider>(ports::kPath, snmp::oneRow<Port::build>, kWhole);
    snmp::MapTable* table = snmp::keepTable(rows, {{kBasePortColumns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kBasePortEntry), "dot1dBasePortEntry", table, kBasePortColumns);
    table = snmp::keepTable(rows, {{kTpPortColumns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kTpPortEntry), "dot1dTpPortEntry", table, kTpPortColumns);

    auto* addresses = snmp::keep<snmp::GetAllProvider>(hosts::kByMacPath, snmp::oneRow<Host::build>, kWhole);
    table = snmp::keepTable(addresses, {{kFdbColumns[0], hosts::Mac.number}});
    snmp::addTable(snmp::OID(kFdbEntry), "dot1dTpFdbEntry", table, kFdbColumns);
}

}  // namespace bridge
