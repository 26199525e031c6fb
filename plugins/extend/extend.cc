// The commands that the administrator names in /etc/tarnix-snmp/extend.conf, and their output (NET-SNMP-EXTEND-MIB). A
// Set changes nothing: commands can't be added, changed or run with it.
//
//     nsExtendConfigTable     INDEX { nsExtendToken }
//     nsExtendOutput1Table    INDEX { nsExtendToken }
//     nsExtendOutput2Table    INDEX { nsExtendToken, nsExtendLineIndex }

#include "contracts/extend.h"

#include "agent/core/autorun.h"
#include "agent/mib/columns.h"
#include "agent/mib/providers/count_provider.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/object_class.h"

namespace extend {

namespace {

namespace commands = contracts::extend;
namespace lines = contracts::extend_lines;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

enum ExecType { Exec = 1 };
enum RunType { RunOnRead = 1 };
enum StorageType { ReadOnly = 5 };
enum RowStatus { Active = 1 };

struct Command : snmp::Data {
    unsigned int cache = 0;  // s
    std::string name, program, args;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Command>();
        record->name = m.get_string(commands::Name);
        record->program = m.get_string(commands::Program);
        record->args = m.get_string(commands::Args);
        record->cache = m.get_u32(commands::Cache);
        return record;
    }
};

struct Output : snmp::Data {
    unsigned int lines = 0, result = 0;
    std::string name, firstLine, whole;
    /// A command has no row before the end of its first run.
    static std::unique_ptr<snmp::Data> build(const tn::message& m, snmp::Rows& rows) {
        if (!m.has(commands::Result)) return nullptr;
        auto record = std::make_unique<Output>();
        record->name = m.get_string(commands::Name);
        record->firstLine = m.get_string(commands::FirstLine);
        record->whole = m.get_string(commands::Output);
        record->lines = m.get_u32(commands::Lines);
        record->result = m.get_u32(commands::Result);
        rows.push_back(std::move(record));
        return nullptr;
    }
};

struct Line : snmp::Data {
    unsigned int number = 0;
    std::string name, text;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Line>();
        record->name = m.get_string(lines::Name);
        record->number = m.get_u32(lines::Line);
        record->text = m.get_string(lines::Text);
        return record;
    }
};

constexpr auto kObjects = snmp::under(snmp::kInternet, 4, 1, 8072, 1, 3, 2);

using Count = snmp::CountProvider::CountData;
constexpr snmp::Column<Count> kNumEntries[] = {{1, "nsExtendNumEntries", tag::Integer, &Count::count}};

constexpr auto kConfigEntry = snmp::under(kObjects, 2, 1);
constexpr snmp::Column<Command> kConfigIndex[] = {{1, "nsExtendToken", tag::OctetString, &Command::name}};
constexpr snmp::Column<Command> kConfigColumns[] = {
    {2, "nsExtendCommand", tag::OctetString, {&Command::program, commands::Program}},
    {3, "nsExtendArgs", tag::OctetString, {&Command::args, commands::Args}},
    {4, "nsExtendInput", tag::OctetString, snmp::ConstantText{""}},
    {5, "nsExtendCacheTime", tag::Integer, {&Command::cache, commands::Cache}},
    {6, "nsExtendExecType", tag::Integer, snmp::Constant{Exec}},
    {7, "nsExtendRunType", tag::Integer, snmp::Constant{RunOnRead}},
    {20, "nsExtendStorage", tag::Integer, snmp::Constant{ReadOnly}},
    {21, "nsExtendStatus", tag::Integer, snmp::Constant{Active}},
};
static_assert(snmp::ascending(kConfigColumns));

constexpr auto kOutput1Entry = snmp::under(kObjects, 3, 1);
constexpr snmp::Column<Output> kOutput1Index[] = {{1, "nsExtendToken", tag::OctetString, &Output::name}};
constexpr snmp::Column<Output> kOutput1Columns[] = {
    {1, "nsExtendOutput1Line", tag::OctetString, &Output::firstLine},
    {2, "nsExtendOutputFull", tag::OctetString, &Output::whole},
    {3, "nsExtendOutNumLines", tag::Integer, &Output::lines},
    {4, "nsExtendResult", tag::Integer, &Output::result},
};
static_assert(snmp::ascending(kOutput1Columns));

constexpr auto kOutput2Entry = snmp::under(kObjects, 4, 1);
constexpr snmp::Column<Line> kOutput2Indexes[] = {
    {1, "nsExtendToken", tag::OctetString, &Line::name},
    {1, "nsExtendLineIndex", tag::Integer, &Line::number},
};
constexpr snmp::Column<Line> kOutput2Columns[] = {{2, "nsExtendOutLine", tag::OctetString, &Line::text}};

void start() {
    auto* config = snmp::keep<snmp::GetAllProvider>(commands::kPath, snmp::oneRow<Command::build>, kWhole);
    snmp::MapTable* table = snmp::keepTable(config, {{kConfigIndex[0], commands::Name.number}});
    snmp::addTable(snmp::OID(kConfigEntry), "nsExtendConfigEntry", table, kConfigColumns);
    snmp::addScalars(kObjects, kNumEntries, snmp::keep<snmp::CountProvider>(table));

    auto* outputs = snmp::keep<snmp::GetAllProvider>(commands::kPath, Output::build, kWhole);
    table = snmp::keepTable(outputs, {{kOutput1Index[0], commands::Name.number}});
    snmp::addTable(snmp::OID(kOutput1Entry), "nsExtendOutput1Entry", table, kOutput1Columns);

    auto* texts = snmp::keep<snmp::GetAllProvider>(lines::kPath, snmp::oneRow<Line::build>, kWhole);
    table =
        snmp::keepTable(texts, {{kOutput2Indexes[0], lines::Name.number}, {kOutput2Indexes[1], lines::Line.number}});
    snmp::addTable(snmp::OID(kOutput2Entry), "nsExtendOutput2Entry", table, kOutput2Columns);
}

}  // namespace

}  // namespace extend

void autorun() { extend::start(); }
