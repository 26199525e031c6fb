// hrSystem, hrStorage and hrDevice (RFC 2790).
//
//     hrStorageTable      INDEX { hrStorageIndex }     main memory and disks
//     hrDeviceTable       INDEX { hrDeviceIndex }      processors only
//     hrProcessorTable    INDEX { hrDeviceIndex }

#include "agent/modules/host_module.h"

#include <ctime>

#include "agent/mib/columns.h"
#include "agent/mib/date_and_time.h"
#include "agent/mib/keep.h"
#include "agent/mib/providers/data_provider.h"
#include "agent/mib/providers/get_all_multi_provider.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/disks.h"
#include "contracts/object_class.h"
#include "contracts/system.h"

namespace snmp {

namespace {

namespace disks = contracts::disks;
namespace object_class = contracts::object_class;
namespace system_info = contracts::system_info;
namespace system_time = contracts::system_time;

constexpr auto kHost = under(kMib2, 25);
constexpr auto kHrSystem = under(kHost, 1);
constexpr auto kHrStorage = under(kHost, 2);
constexpr auto kHrStorageRam = under(kHrStorage, 1, 1);  // compat: 61, hrStorageOther: main memory carries it
constexpr auto kHrStorageFixedDisk = under(kHrStorage, 1, 4);
constexpr auto kHrDevice = under(kHost, 3);
constexpr auto kHrDeviceProcessor = under(kHrDevice, 1, 3);

// hrStorageIndex of main memory. That of a disk is its id at its owner, with these bits set.
constexpr uint32_t kRamIndex = 0x10000;
constexpr uint32_t kDiskIndexes = 0x20000;

// Records.

struct Sysinfo : Data {
    unsigned int uptime = 0;       // hundredths of a second
    unsigned int memoryTotal = 0;  // KiB
    unsigned int memoryUsed = 0;   // KiB
    static std::unique_ptr<Data> build(const tn::message& m);
};

struct Systime : Data {
    std::vector<unsigned char> dateAndTime;  // 11 octets, DateAndTime (RFC 2579)
    static std::unique_ptr<Data> build(const tn::message& m);
};

struct Cpu : Data {
    unsigned int id = 0;
    unsigned int load = 0;  // percent busy over the last minute
    static std::unique_ptr<Data> build(const tn::message& m);
};

struct Storage : Data {
    unsigned int index = 0;
    OID type;
    std::string descr;
    unsigned int size = 0;  // KiB
    unsigned int used = 0;  // KiB
    static void buildRam(Rows& rows);
    static std::unique_ptr<Data> buildHd(const tn::message& m);
};

// Build functions.

std::unique_ptr<Data> Sysinfo::build(const tn::message& m) {
    auto record = std::make_unique<Sysinfo>();
    record->uptime = m.get_u32(system_info::Uptime) * 100;
    record->memoryTotal = m.get_u32(system_info::MemoryTotal);
    record->memoryUsed = record->memoryTotal - m.get_u32(system_info::MemoryFree);
    return record;
}

std::unique_ptr<Data> Systime::build(const tn::message& m) {
    const time_t seconds = m.get_u32(system_time::Seconds);
    const auto offset = static_cast<int32_t>(m.get_u32(system_time::Offset));  // seconds east of UTC
    tm local{};
    tzset();  // localtime_r alone doesn't notice a change of the time zone
    localtime_r(&seconds, &local);
    auto record = std::make_unique<Systime>();
    record->dateAndTime = snmp::dateAndTime(local, offset);
    return record;
}

std::unique_ptr<Data> Cpu::build(const tn::message& m) {
    auto record = std::make_unique<Cpu>();
    record->id = m.get_u32(tn::field::ObjectId, tn::kNoId);
    record->load = m.get_u32(system_info::Load);
    return record;
}

DataProvider* sysinfo = nullptr;

/// Main memory: always one row. If its owner fails, size and used are 0.
void Storage::buildRam(Rows& rows) {
    const std::unique_ptr<Data> record = sysinfo->get();
    const auto& memory = static_cast<const Sysinfo&>(*record);
    auto row = std::make_unique<Storage>();
    row->index = kRamIndex;
    row->type = OID(kHrStorageRam);
    row->descr = "main memory";
    row->size = memory.memoryTotal;
    row->used = memory.memoryUsed;
    rows.push_back(std::move(row));
}

std::unique_ptr<Data> Storage::buildHd(const tn::message& m) {
    auto record = std::make_unique<Storage>();
    record->index = m.get_u32(tn::field::ObjectId) | kDiskIndexes;
    record->type = OID(kHrStorageFixedDisk);
    const std::string name = m.get_string(disks::MountPoint);
    record->descr = name.empty() ? "disk" : "disk: " + name;
    record->size = m.get_u32(disks::Size);
    record->used = record->size - m.get_u32(disks::Free);
    return record;
}

// Objects.

constexpr Column<Sysinfo> kHrUptimeObject[] = {{1, "hrSystemUptime", tag::TimeTicks, &Sysinfo::uptime}};
constexpr Column<Systime> kHrDateObject[] = {{2, "hrSystemDate", tag::OctetString, &Systime::dateAndTime}};
constexpr Column<Sysinfo> kHrMemoryObject[] = {{2, "hrMemorySize", tag::Integer, &Sysinfo::memoryTotal}};

constexpr auto kHrStorageEntry = under(kHrStorage, 3, 1);
constexpr Column<Storage> kStorageColumns[] = {
    {1, "hrStorageIndex", tag::Integer, &Storage::index},
    {2, "hrStorageType", tag::ObjectIdentifier, &Storage::type},
    {3, "hrStorageDescr", tag::OctetString, &Storage::descr},
    {4, "hrStorageAllocationUnits", tag::Integer, Constant{1024}},  // the owners count in KiB
    {5, "hrStorageSize", tag::Integer, &Storage::size},
    {6, "hrStorageUsed", tag::Integer, &Storage::used},
    {7, "hrStorageAllocationFailures", tag::Counter32, Constant{0}},  // not counted
};
static_assert(ascending(kStorageColumns));

constexpr auto kHrDeviceEntry = under(kHrDevice, 2, 1);
constexpr Column<Cpu> kDeviceColumns[] = {
    {1, "hrDeviceIndex", tag::Integer, &Cpu::id},
    {2, "hrDeviceType", tag::ObjectIdentifier, ConstantOID{kHrDeviceProcessor}},
};
static_assert(ascending(kDeviceColumns));

constexpr auto kHrProcessorEntry = under(kHrDevice, 3, 1);
constexpr Column<Cpu> kProcessorColumns[] = {{2, "hrProcessorLoad", tag::Integer, &Cpu::load}};

}  // namespace

void start_host_module() {
    sysinfo = keep<GetProvider>(Sysinfo::build, system_info::kPath, tn::cmd::Get, tn::cmd::Set, object_class::kWhole);
    auto* date =
        keep<GetProvider>(Systime::build, system_time::kPath, tn::cmd::Get, tn::cmd::Set, object_class::kWhole);
    addScalars(kHrSystem, kHrUptimeObject, sysinfo);
    addScalars(kHrSystem, kHrDateObject, date);
    addScalars(kHrStorage, kHrMemoryObject, sysinfo);

    auto* storage = keep<GetAllMultiProvider>();
    storage->addSource(Storage::buildRam, kRamIndex);
    storage->addSource(oneRow<Storage::buildHd>, disks::kPath, object_class::kWhole, kDiskIndexes);
    MapTable* storageTable = keepTable(storage, {{kStorageColumns[0], tn::field::ObjectId.number}});
    addTable(OID(kHrStorageEntry), "hrStorageEntry", storageTable, kStorageColumns);

    auto* processors = keep<GetAllProvider>(system_info::kPath, oneRow<Cpu::build>, object_class::kWhole);
    MapTable* processorTable = keepTable(processors, {{kDeviceColumns[0], tn::field::ObjectId.number}});
    addTable(OID(kHrDeviceEntry), "hrDeviceEntry", processorTable, kDeviceColumns);
    addTable(OID(kHrProcessorEntry), "hrProcessorEntry", processorTable, kProcessorColumns);
}

}  // namespace snmp
