// The spanning tree (RFC 4188). Its times and costs are valid without a spanning tree, too.
//
//     dot1dStpPortTable    INDEX { dot1dStpPort }

#include <algorithm>

#include "agent/mib/providers/get_all_provider.h"
#include "bridge.h"
#include "contracts/object_class.h"
#include "tn/fields.h"

namespace bridge {

namespace {

namespace ports = contracts::bridge_ports;
namespace tag = snmp::tag;

constexpr unsigned int kIdOctets = 8;
constexpr int kHoldTime = 100;  // hundredths of a second: BR_HOLD_TIME of the kernel
constexpr unsigned int kMostCost = 65535;

struct Port : snmp::Data {
    enum Enable : unsigned int { Enabled = 1, Disabled = 2 };
    unsigned int number = 0, priority = 0, state = 0, enable = Disabled;
    unsigned int cost = 0, cost32 = 0, designatedCost = 0;
    std::vector<unsigned char> root, designatedBridge, designatedPort;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Port>();
        record->number = m.get_u32(tn::field::ObjectId);
        record->priority = m.get_u32(ports::PortId) >> 8;
        record->state = m.get_u32(ports::State);
        record->enable = m.get_bool(ports::Enabled) ? Enabled : Disabled;
        record->cost32 = m.get_u32(ports::Cost);
        record->cost = std::min(record->cost32, kMostCost);
        record->root = m.get_raw(ports::Root);
        record->designatedCost = m.get_u32(ports::DesignatedCost);
        record->designatedBridge = m.get_raw(ports::DesignatedBridge);
        const uint32_t port = m.get_u32(ports::DesignatedPort);
        record->designatedPort = {static_cast<unsigned char>(port >> 8), static_cast<unsigned char>(port)};
        return record;
    }
};

constexpr auto kDot1dStp = snmp::under(kDot1dBridge, 2);
constexpr snmp::Column<State> kStpObjects[] = {
    {5, "dot1dStpDesignatedRoot", tag::OctetString, snmp::FixedOctets<State>{&State::rootId, kIdOctets}},
    {6, "dot1dStpRootCost", tag::Integer, &State::rootCost},
    {7, "dot1dStpRootPort", tag::Integer, &State::rootPort},
    {8, "dot1dStpMaxAge", tag::Integer, &State::maxAge},
    {9, "dot1dStpHelloTime", tag::Integer, &State::helloTime},
    {10, "dot1dStpHoldTime", tag::Integer, snmp::Constant{kHoldTime}},
    {11, "dot1dStpForwardDelay", tag::Integer, &State::forwardDelay},
};
static_assert(snmp::ascending(kStpObjects));

// The kernel reports the times in force. They are the bridge's own while it is the root.
constexpr snmp::Column<State> kOwnTimes[] = {
    {12, "dot1dStpBridgeMaxAge", tag::Integer, &State::maxAge},
    {13, "dot1dStpBridgeHelloTime", tag::Integer, &State::helloTime},
    {14, "dot1dStpBridgeForwardDelay", tag::Integer, &State::forwardDelay},
};
static_assert(snmp::ascending(kOwnTimes));

constexpr auto kStpPortEntry = snmp::under(kDot1dStp, 15, 1);
constexpr snmp::Column<Port> kStpPortColumns[] = {
    {1, "dot1dStpPort", tag::Integer, &Port::number},
    {2, "dot1dStpPortPriority", tag::Integer, &Port::priority},
    {3, "dot1dStpPortState", tag::Integer, &Port::state},
    {4, "dot1dStpPortEnable", tag::Integer, &Port::enable},
    {5, "dot1dStpPortPathCost", tag::Integer, &Port::cost},
    {6, "dot1dStpPortDesignatedRoot", tag::OctetString, snmp::FixedOctets<Port>{&Port::root, kIdOctets}},
    {7, "dot1dStpPortDesignatedCost", tag::Integer, &Port::designatedCost},
    {8, "dot1dStpPortDesignatedBridge", tag::OctetString, snmp::FixedOctets<Port>{&Port::designatedBridge, kIdOctets}},
    {9, "dot1dStpPortDesignatedPort", tag::OctetString, snmp::FixedOctets<Port>{&Port::designatedPort, 2}},
    {11, "dot1dStpPortPathCost32", tag::Integer, &Port::cost32},
};
static_assert(snmp::ascending(kStpPortColumns));

}  // namespace

void startStp() {
    snmp::addScalars(kDot1dStp, kStpObjects, keepState([](const State&) { return true; }));
    snmp::addScalars(kDot1dStp, kOwnTimes, keepState([](const State& state) { return state.isRoot; }));

    auto* rows =
        snmp::keep<snmp::GetAllProvider>(ports::kPath, snmp::oneRow<Port::build>, contracts::object_class::kWhole);
    snmp::MapTable* table = snmp::keepTable(rows, {{kStpPortColumns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kStpPortEntry), "dot1dStpPortEntry", table, kStpPortColumns);
}

}  // namespace bridge
