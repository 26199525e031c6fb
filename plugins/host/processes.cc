// hrSWRun and hrSWRunPerf (RFC 2790): the processes. The index of a process is its pid.
//
//     hrSWRunTable        INDEX { hrSWRunIndex }
//     hrSWRunPerfTable    AUGMENTS { hrSWRunEntry }

#include "agent/mib/providers/get_all_provider.h"
#include "contracts/host.h"
#include "contracts/object_class.h"
#include "host.h"

namespace host {

namespace {

namespace processes = contracts::processes;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

struct Process : snmp::Data {
    unsigned int pid = 0;
    std::string name, path, parameters;
    unsigned int type = 0, status = 0;
    unsigned int time = 0;    // hundredths of a second
    unsigned int memory = 0;  // KiB
    static std::unique_ptr<snmp::Data> build(const tn::message& m, snmp::Rows& rows);
};

/// hrSWRunStatus of a process's state (proc(5)).
unsigned int statusOf(uint32_t state) {
    constexpr unsigned int kRunning = 1, kRunnable = 2, kNotRunnable = 3, kInvalid = 4;
    switch (state) {
        case 'R':
            return kRunning;
        case 'S':  // waiting for an event: what an idle service does
        case 'I':
            return kRunnable;
        case 'Z':
        case 'X':
            return kInvalid;
        default:  // waiting for a disk, stopped, traced
            return kNotRunnable;
    }
}

/// No row for a process that has ended.
std::unique_ptr<snmp::Data> Process::build(const tn::message& m, snmp::Rows& rows) {
    constexpr unsigned int kOperatingSystem = 2, kApplication = 4;
    if (!m.has(processes::State)) return nullptr;
    auto record = std::make_unique<Process>();
    record->pid = m.get_u32(tn::field::ObjectId);
    record->name = m.get_string(processes::Name).substr(0, kMaxName);
    record->path = m.get_string(processes::Path).substr(0, kMaxText);
    record->parameters = m.get_string(processes::Parameters).substr(0, kMaxText);
    record->type = m.get_bool(processes::Kernel) ? kOperatingSystem : kApplication;
    record->status = statusOf(m.get_u32(processes::State));
    record->time = integer32(m.get_u64(processes::Time));
    record->memory = integer32(m.get_u64(processes::Memory));
    rows.push_back(std::move(record));
    return nullptr;
}

constexpr auto kRun = snmp::under(kHost, 4);
constexpr snmp::Column<Process> kOsIndex[] = {{1, "hrSWOSIndex", tag::Integer, snmp::Constant{1}}};  // of init

// A command line is read only for its own columns, which makes the others cheaper.
constexpr auto kEntry = snmp::under(kRun, 2, 1);
constexpr snmp::Column<Process> kColumns[] = {
    {1, "hrSWRunIndex", tag::Integer, {&Process::pid, processes::State}},
    {2, "hrSWRunName", tag::OctetString, {&Process::name, processes::Name, processes::State}},
    {3, "hrSWRunID", tag::ObjectIdentifier, snmp::ConstantOID{snmp::kZeroDotZero}},
    {4, "hrSWRunPath", tag::OctetString, {&Process::path, processes::Path, processes::State}},
    {5, "hrSWRunParameters", tag::OctetString, {&Process::parameters, processes::Parameters, processes::State}},
    {6, "hrSWRunType", tag::Integer, {&Process::type, processes::Kernel, processes::State}},
    {7, "hrSWRunStatus", tag::Integer, {&Process::status, processes::State}},
};
static_assert(snmp::ascending(kColumns));

constexpr auto kPerfEntry = snmp::under(kHost, 5, 1, 1);
constexpr snmp::Column<Process> kPerfColumns[] = {
    {1, "hrSWRunPerfCPU", tag::Integer, {&Process::time, processes::Time, processes::State}},
    {2, "hrSWRunPerfMem", tag::Integer, {&Process::memory, processes::Memory, processes::State}},
};
static_assert(snmp::ascending(kPerfColumns));

}  // namespace

void startProcesses() {
    snmp::addScalars(kRun, kOsIndex, nullptr);
    auto* rows = snmp::keep<snmp::GetAllProvider>(processes::kPath, Process::build, kWhole);
    snmp::MapTable* table = snmp::keepTable(rows, {{kColumns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kEntry), "hrSWRunEntry", table, kColumns);
    snmp::addTable(snmp::OID(kPerfEntry), "hrSWRunPerfEntry", table, kPerfColumns);
}

}  // namespace host
