// The mounted file systems, in kilobytes (1024 octets). The columns that end in Low and High are the halves of the
// whole size; the others stop at 2^31 - 1.
//
//     dskTable    INDEX { dskIndex }

#include <cmath>

#include "agent/mib/providers/get_all_provider.h"
#include "contracts/file_systems.h"
#include "contracts/object_class.h"
#include "ucd.h"

namespace ucd {

namespace {

namespace file_systems = contracts::file_systems;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

struct FileSystem : snmp::Data {
    unsigned int index = 0;
    std::string path, device;
    unsigned int total = 0, totalLow = 0, totalHigh = 0;
    unsigned int available = 0, availableLow = 0, availableHigh = 0;  // without the share reserved for root
    unsigned int used = 0, usedLow = 0, usedHigh = 0;
    unsigned int percent = 0;       // used, of what isn't reserved for root
    unsigned int inodePercent = 0;  // used
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};

/// Percent, rounded up as df(1) does.
unsigned int percentOf(uint64_t used, uint64_t unused) {
    const double all = static_cast<double>(used) + static_cast<double>(unused);
    return all > 0 ? static_cast<unsigned int>(std::ceil(static_cast<double>(used) * 100 / all)) : 0;
}

std::unique_ptr<snmp::Data> FileSystem::build(const tn::message& m) {
    auto record = std::make_unique<FileSystem>();
    record->index = m.get_u32(tn::field::ObjectId);
    record->path = m.get_string(file_systems::MountPoint).substr(0, kMaxText);
    record->device = m.get_string(file_systems::Source).substr(0, kMaxText);
    const uint64_t total = m.get_u64(file_systems::Size);
    const uint64_t used = total - m.get_u64(file_systems::Free);
    const uint64_t available = m.get_u64(file_systems::Available);
    const auto split = [](uint64_t value, unsigned int& limited, unsigned int& low, unsigned int& high) {
        limited = integer32(value);
        low = static_cast<unsigned int>(value);
        high = static_cast<unsigned int>(value >> 32);
    };
    split(total, record->total, record->totalLow, record->totalHigh);
    split(available, record->available, record->availableLow, record->availableHigh);
    split(used, record->used, record->usedLow, record->usedHigh);
    record->percent = percentOf(used, available);
    const uint64_t freeFiles = m.get_u64(file_systems::FreeFiles);
    record->inodePercent = percentOf(m.get_u64(file_systems::Files) - freeFiles, freeFiles);
    return record;
}

constexpr int kNotSet = -1;

constexpr auto kEntry = snmp::under(kUcd, 9, 1);
constexpr snmp::Column<FileSystem> kColumns[] = {
    {1, "dskIndex", tag::Integer, &FileSystem::index},
    {2, "dskPath", tag::OctetString, &FileSystem::path},
    {3, "dskDevice", tag::OctetString, &FileSystem::device},
    {4, "dskMinimum", tag::Integer, snmp::Constant{kNotSet}},
    {5, "dskMinPercent", tag::Integer, snmp::Constant{kNotSet}},
    {6, "dskTotal", tag::Integer, &FileSystem::total},
    {7, "dskAvail", tag::Integer, &FileSystem::available},
    {8, "dskUsed", tag::Integer, &FileSystem::used},
    {9, "dskPercent", tag::Integer, &FileSystem::percent},
    {10, "dskPercentNode", tag::Integer, &FileSystem::inodePercent},
    {11, "dskTotalLow", tag::Gauge32, &FileSystem::totalLow},
    {12, "dskTotalHigh", tag::Gauge32, &FileSystem::totalHigh},
    {13, "dskAvailLow", tag::Gauge32, &FileSystem::availableLow},
    {14, "dskAvailHigh", tag::Gauge32, &FileSystem::availableHigh},
    {15, "dskUsedLow", tag::Gauge32, &FileSystem::usedLow},
    {16, "dskUsedHigh", tag::Gauge32, &FileSystem::usedHigh},
    {100, "dskErrorFlag", tag::Integer, snmp::Constant{0}},
    {101, "dskErrorMsg", tag::OctetString, snmp::ConstantText{""}},
};
static_assert(snmp::ascending(kColumns));

}  // namespace

void startFileSystems() {
    auto* rows = snmp::keep<snmp::GetAllProvider>(file_systems::kPath, snmp::oneRow<FileSystem::build>, kWhole);
    snmp::MapTable* table = snmp::keepTable(rows, {{kColumns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kEntry), "dskEntry", table, kColumns);
}

}  // namespace ucd
