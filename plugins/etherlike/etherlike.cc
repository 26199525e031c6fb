// dot3StatsTable and dot3HCStatsTable (RFC 3635): the interfaces of the type ethernetCsmacd, as ifx shows it.
//
//     dot3StatsTable      INDEX { dot3StatsIndex }, the ifIndex
//     dot3HCStatsTable    INDEX { dot3StatsIndex }
//
// A counter that neither the driver nor the kernel has is 0.

#include "agent/core/autorun.h"
#include "agent/mib/columns.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/interface_counters.h"
#include "contracts/interfaces.h"
#include "contracts/object_class.h"
#include "tn/fields.h"

namespace {

namespace counters = contracts::interface_counters;
namespace interfaces = contracts::interfaces;
namespace tag = snmp::tag;
using snmp::Constant;

constexpr unsigned int kEthernetCsmacd = 6;  // IANAifType
constexpr unsigned int kUnknownDuplex = 1;   // dot3StatsDuplexStatus
constexpr int kNoRateControl = 2;            // dot3StatsRateControlAbility: only 10GBASE-W has it
constexpr int kRateControlOff = 1;           // dot3StatsRateControlStatus

constexpr tn::u64_id kCounted[] = {
    counters::RxAlignErrors,     counters::RxFcsErrors,    counters::TxSingleCollision, counters::TxMultipleCollision,
    counters::TxHeartbeatErrors, counters::TxDeferred,     counters::TxLateCollisions,  counters::TxExcessCollisions,
    counters::TxInternalErrors,  counters::TxCarrierSense, counters::RxTooLong,         counters::RxInternalErrors,
    counters::RxSymbolErrors,
};

struct Ethernet : snmp::Data {
    unsigned int index = 0;
    snmp::Counters counters{};  // those of kCounted, each at its counters::indexOf
    unsigned int duplex = 0;
};

std::unique_ptr<snmp::Data> buildRow(const tn::message& m, snmp::Rows& rows) {
    if (m.get_u32(interfaces::Type) != kEthernetCsmacd) return nullptr;
    auto record = std::make_unique<Ethernet>();
    record->index = m.get_u32(tn::field::ObjectId);
    for (const tn::u64_id counter : kCounted) record->counters[counters::indexOf(counter)] = m.get_u64(counter);
    record->duplex = m.get_u32(interfaces::Duplex, kUnknownDuplex);
    rows.push_back(std::move(record));
    return nullptr;
}

// The type of the interface decides whether it has a row, so each column needs it.

constexpr snmp::ColumnValue<Ethernet> counter(tn::u64_id id) {
    return {snmp::Element<Ethernet>{&Ethernet::counters, counters::indexOf(id)}, id, interfaces::Type};
}

constexpr auto kEtherStats = snmp::under(snmp::kMib2, 10, 7);

constexpr auto kStatsEntry = snmp::under(kEtherStats, 2, 1);
constexpr snmp::Column<Ethernet> kStatsColumns[] = {
    {1, "dot3StatsIndex", tag::Integer, {&Ethernet::index, interfaces::Type}},
    {2, "dot3StatsAlignmentErrors", tag::Counter32, counter(counters::RxAlignErrors)},
    {3, "dot3StatsFCSErrors", tag::Counter32, counter(counters::RxFcsErrors)},
    {4, "dot3StatsSingleCollisionFrames", tag::Counter32, counter(counters::TxSingleCollision)},
    {5, "dot3StatsMultipleCollisionFrames", tag::Counter32, counter(counters::TxMultipleCollision)},
    {6, "dot3StatsSQETestErrors", tag::Counter32, counter(counters::TxHeartbeatErrors)},
    {7, "dot3StatsDeferredTransmissions", tag::Counter32, counter(counters::TxDeferred)},
    {8, "dot3StatsLateCollisions", tag::Counter32, counter(counters::TxLateCollisions)},
    {9, "dot3StatsExcessiveCollisions", tag::Counter32, counter(counters::TxExcessCollisions)},
    {10, "dot3StatsInternalMacTransmitErrors", tag::Counter32, counter(counters::TxInternalErrors)},
    {11, "dot3StatsCarrierSenseErrors", tag::Counter32, counter(counters::TxCarrierSense)},
    {13, "dot3StatsFrameTooLongs", tag::Counter32, counter(counters::RxTooLong)},
    {16, "dot3StatsInternalMacReceiveErrors", tag::Counter32, counter(counters::RxInternalErrors)},
    {18, "dot3StatsSymbolErrors", tag::Counter32, counter(counters::RxSymbolErrors)},
    {19, "dot3StatsDuplexStatus", tag::Integer, {&Ethernet::duplex, interfaces::Duplex, interfaces::Type}},
    {20, "dot3StatsRateControlAbility", tag::Integer, {Constant{kNoRateControl}, interfaces::Type}},
    {21, "dot3StatsRateControlStatus", tag::Integer, {Constant{kRateControlOff}, interfaces::Type}},
};
static_assert(snmp::ascending(kStatsColumns));

constexpr auto kHcStatsEntry = snmp::under(kEtherStats, 11, 1);
constexpr snmp::Column<Ethernet> kHcStatsColumns[] = {
    {1, "dot3HCStatsAlignmentErrors", tag::Counter64, counter(counters::RxAlignErrors)},
    {2, "dot3HCStatsFCSErrors", tag::Counter64, counter(counters::RxFcsErrors)},
    {3, "dot3HCStatsInternalMacTransmitErrors", tag::Counter64, counter(counters::TxInternalErrors)},
    {4, "dot3HCStatsFrameTooLongs", tag::Counter64, counter(counters::RxTooLong)},
    {5, "dot3HCStatsInternalMacReceiveErrors", tag::Counter64, counter(counters::RxInternalErrors)},
    {6, "dot3HCStatsSymbolErrors", tag::Counter64, counter(counters::RxSymbolErrors)},
};
static_assert(snmp::ascending(kHcStatsColumns));

}  // namespace

void autorun() {
    auto* rows =
        snmp::keep<snmp::GetAllProvider>(interfaces::kPath, buildRow, contracts::object_class::kWithInterfaceCounters);
    snmp::MapTable* table = snmp::keepTable(rows, {{kStatsColumns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kStatsEntry), "dot3StatsEntry", table, kStatsColumns);
    snmp::addTable(snmp::OID(kHcStatsEntry), "dot3HCStatsEntry", table, kHcStatsColumns);
}
