// Which interfaces run on top of which (RFC 2863): the ports of bridges and aggregates, VLANs.
//
//     ifStackTable    INDEX { ifStackHigherLayer, ifStackLowerLayer }

#include "agent/mib/providers/data_provider.h"
#include "agent/mib/providers/get_all_provider.h"
#include "agent/mib/time_ticks.h"
#include "contracts/interface_stack.h"
#include "contracts/object_class.h"
#include "ifx.h"
#include "tn/fields.h"

namespace ifx {

namespace {

namespace stack = contracts::interface_stack;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

struct Layer : snmp::Data {
    unsigned int higher = 0, lower = 0;  // ifIndex; 0: none
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Layer>();
        record->higher = m.get_u32(stack::Higher);
        record->lower = m.get_u32(stack::Lower);
        return record;
    }
};

struct Change : snmp::Data {
    unsigned int stack = 0, interfaces = 0;  // TimeTicks from boot
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Change>();
        record->stack = snmp::sysUpTimeAt(std::chrono::milliseconds(m.get_u64(stack::LastChange)));
        record->interfaces = snmp::sysUpTimeAt(std::chrono::milliseconds(m.get_u64(stack::InterfacesLastChange)));
        return record;
    }
};

constexpr int kActive = 1;  // RowStatus

constexpr auto kStackEntry = snmp::under(kIfMibObjects, 2, 1);
constexpr snmp::Column<Layer> kIndexes[] = {
    // not accessible
    {1, "ifStackHigherLayer", tag::Integer, &Layer::higher},
    {2, "ifStackLowerLayer", tag::Integer, &Layer::lower},
};
constexpr snmp::Column<Layer> kStackColumns[] = {
    {3, "ifStackStatus", tag::Integer, snmp::Constant{kActive}},
};

constexpr snmp::Column<Change> kLastChange[] = {
    {5, "ifTableLastChange", tag::TimeTicks, &Change::interfaces},
    {6, "ifStackLastChange", tag::TimeTicks, &Change::stack},
};

}  // namespace

void startStack() {
    auto* rows = snmp::keep<snmp::GetAllProvider>(stack::kPath, snmp::oneRow<Layer::build>, kWhole);
    snmp::MapTable* table =
        snmp::keepTable(rows, {{kIndexes[0], stack::Higher.number}, {kIndexes[1], stack::Lower.number}});
    snmp::addTable(snmp::OID(kStackEntry), "ifStackEntry", table, kStackColumns);

    auto* change = snmp::keep<snmp::GetProvider>(Change::build, stack::kPath, tn::cmd::Get, tn::cmd::Set, kWhole);
    snmp::addScalars(kIfMibObjects, kLastChange, change);
}

}  // namespace ifx
