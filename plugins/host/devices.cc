// hrDevice (RFC 2790): processors, network interfaces, disks and their partitions.
//
//     hrDeviceTable         INDEX { hrDeviceIndex }     all of them
//     hrProcessorTable      INDEX { hrDeviceIndex }
//     hrNetworkTable        INDEX { hrDeviceIndex }
//     hrDiskStorageTable    INDEX { hrDeviceIndex }
//     hrPartitionTable      INDEX { hrDeviceIndex, hrPartitionIndex }

#include "agent/mib/providers/get_all_provider.h"
#include "contracts/file_systems.h"
#include "contracts/host.h"
#include "contracts/object_class.h"
#include "contracts/system.h"
#include "host.h"
#include "tn/looper.h"

namespace host {

namespace {

namespace file_systems = contracts::file_systems;
namespace hardware = contracts::hardware;
namespace partitions = contracts::partitions;
namespace system_info = contracts::system_info;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

// Records.

struct Device : snmp::Data {
    unsigned int index = 0;
    snmp::OID type;
    std::string description;
    unsigned int status = hardware::status::Unknown;
    unsigned int interface = 0;  // ifIndex
    unsigned int access = kReadWrite;
    unsigned int media = 0;
    unsigned int removable = kFalse;
    unsigned int capacity = 0;  // KiB
    static std::unique_ptr<Device> of(const tn::message& m);
    template <uint32_t Kind>
    static std::unique_ptr<snmp::Data> buildKind(const tn::message& m, snmp::Rows& rows);
    static std::unique_ptr<snmp::Data> build(const tn::message& m) { return of(m); }
};

struct Processor : snmp::Data {
    unsigned int index = 0;
    unsigned int load = 0;  // percent busy over the last minute
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Processor>();
        record->index = m.get_u32(tn::field::ObjectId);
        record->load = m.get_u32(system_info::Load);
        return record;
    }
};

struct Partition : snmp::Data {
    unsigned int disk = 0, number = 0;
    std::string label, id;
    unsigned int size = 0;        // KiB
    unsigned int fileSystem = 0;  // hrFSIndex; 0: none
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};

// Build functions.

/// The number of a device type below hrDeviceTypes.
unsigned int typeOf(uint32_t kind) {
    switch (kind) {
        case hardware::kind::Processor:
            return 3;
        case hardware::kind::Interface:
            return 4;
        case hardware::kind::Disk:
            return 6;
        default:
            return 2;  // unknown
    }
}

std::unique_ptr<Device> Device::of(const tn::message& m) {
    auto record = std::make_unique<Device>();
    record->index = m.get_u32(tn::field::ObjectId);
    record->type = snmp::OID(kDevices) + snmp::OID{1, typeOf(m.get_u32(hardware::Kind))};
    record->description = m.get_string(hardware::Description).substr(0, kMaxName);
    record->status = m.get_u32(hardware::Status, hardware::status::Unknown);
    record->interface = m.get_u32(hardware::Interface);
    record->access = m.get_bool(hardware::ReadOnly) ? kReadOnly : kReadWrite;
    record->media = m.get_u32(hardware::Media);
    record->removable = m.get_bool(hardware::Removable) ? kTrue : kFalse;
    record->capacity = integer32(m.get_u64(hardware::Size));
    return record;
}

template <uint32_t Kind>
std::unique_ptr<snmp::Data> Device::buildKind(const tn::message& m, snmp::Rows& rows) {
    if (m.get_u32(hardware::Kind) == Kind) rows.push_back(of(m));
    return nullptr;
}

std::unique_ptr<snmp::Data> Partition::build(const tn::message& m) {
    auto record = std::make_unique<Partition>();
    record->disk = m.get_u32(partitions::Disk);
    record->number = m.get_u32(partitions::Number);
    record->label = m.get_string(partitions::Name).substr(0, kMaxText);
    record->id = m.get_string(partitions::Device).substr(0, kMaxText);
    record->size = integer32(m.get_u64(partitions::Size));
    record->fileSystem = m.get_u32(partitions::FileSystem);
    return record;
}

/// Adds the ids of the file systems on partitions to a page of them.
void addFileSystems(std::vector<tn::message>& items) {
    tn::message request = tn::request(file_systems::kPath, tn::cmd::GetAll);
    request.insert_u32(tn::field::MaxObjects, 1024);
    const tn::message reply = tn::getLooper()->exchangeMessage(request);
    for (const tn::message& mounted : reply.get_message_array(tn::field::Objects)) {
        const std::string device = mounted.get_string(file_systems::Device);
        const std::string source = mounted.get_string(file_systems::Source);
        for (tn::message& item : items) {
            const bool isDevice = !device.empty() && device == item.get_string(partitions::Device);
            const bool isSource = !source.empty() && source == item.get_string(partitions::Name);  // as for btrfs
            if (isDevice || isSource) item.insert_u32(partitions::FileSystem, mounted.get_u32(tn::field::ObjectId));
        }
    }
}

// Objects.

constexpr auto kDeviceEntry = snmp::under(kDevices, 2, 1);
constexpr snmp::Column<Device> kDeviceColumns[] = {
    {1, "hrDeviceIndex", tag::Integer, &Device::index},
    {2, "hrDeviceType", tag::ObjectIdentifier, &Device::type},
    {3, "hrDeviceDescr", tag::OctetString, &Device::description},
    {4, "hrDeviceID", tag::ObjectIdentifier, snmp::ConstantOID{snmp::kZeroDotZero}},
    {5, "hrDeviceStatus", tag::Integer, &Device::status},
};
static_assert(snmp::ascending(kDeviceColumns));

constexpr auto kProcessorEntry = snmp::under(kDevices, 3, 1);
constexpr snmp::Column<Processor> kProcessorIndex = {1, "hrDeviceIndex", tag::Integer, &Processor::index};
constexpr snmp::Column<Processor> kProcessorColumns[] = {
    {1, "hrProcessorFrwID", tag::ObjectIdentifier, snmp::ConstantOID{snmp::kZeroDotZero}},
    {2, "hrProcessorLoad", tag::Integer, &Processor::load},
};
static_assert(snmp::ascending(kProcessorColumns));

constexpr auto kNetworkEntry = snmp::under(kDevices, 4, 1);
constexpr snmp::Column<Device> kNetworkColumns[] = {{1, "hrNetworkIfIndex", tag::Integer, &Device::interface}};

constexpr auto kDiskEntry = snmp::under(kDevices, 6, 1);
constexpr snmp::Column<Device> kDiskColumns[] = {
    {1, "hrDiskStorageAccess", tag::Integer, &Device::access},
    {2, "hrDiskStorageMedia", tag::Integer, &Device::media},
    {3, "hrDiskStorageRemoveble", tag::Integer, &Device::removable},
    {4, "hrDiskStorageCapacity", tag::Integer, &Device::capacity},
};
static_assert(snmp::ascending(kDiskColumns));

constexpr auto kPartitionEntry = snmp::under(kDevices, 7, 1);
constexpr snmp::Column<Partition> kPartitionDisk = {1, "hrDeviceIndex", tag::Integer, &Partition::disk};
constexpr snmp::Column<Partition> kPartitionColumns[] = {
    {1, "hrPartitionIndex", tag::Integer, &Partition::number},
    {2, "hrPartitionLabel", tag::OctetString, &Partition::label},
    {3, "hrPartitionID", tag::OctetString, &Partition::id},
    {4, "hrPartitionSize", tag::Integer, &Partition::size},
    {5, "hrPartitionFSIndex", tag::Integer, &Partition::fileSystem},
};
static_assert(snmp::ascending(kPartitionColumns));

template <class... More>
snmp::MapTable* deviceTable(snmp::GetAllProvider::BuildRows build, More... more) {
    auto* rows = snmp::keep<snmp::GetAllProvider>(hardware::kPath, build, kWhole, more...);
    return snmp::keepTable(rows, {{kDeviceColumns[0], tn::field::ObjectId.number}});
}

/// Whether a device comes after all disks.
bool isInterface(const tn::message& m) { return m.get_u32(hardware::Kind) == hardware::kind::Interface; }

}  // namespace

void startDevices() {
    snmp::addTable(snmp::OID(kDeviceEntry), "hrDeviceEntry", deviceTable(snmp::oneRow<Device::build>), kDeviceColumns);

    auto* processors = snmp::keep<snmp::GetAllProvider>(system_info::kPath, snmp::oneRow<Processor::build>, kWhole);
    snmp::MapTable* processorTable = snmp::keepTable(processors, {{kProcessorIndex, tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kProcessorEntry), "hrProcessorEntry", processorTable, kProcessorColumns);

    snmp::MapTable* networks = deviceTable(Device::buildKind<hardware::kind::Interface>);
    snmp::addTable(snmp::OID(kNetworkEntry), "hrNetworkEntry", networks, kNetworkColumns);
    snmp::MapTable* disks = deviceTable(Device::buildKind<hardware::kind::Disk>, isInterface);
    snmp::addTable(snmp::OID(kDiskEntry), "hrDiskStorageEntry", disks, kDiskColumns);

    auto* parts = snmp::keep<snmp::GetAllProvider>(
        partitions::kPath, snmp::oneRow<Partition::build>, kWhole,
        snmp::GetAllProvider::Supplement{partitions::FileSystem.full(), addFileSystems});
    snmp::MapTable* partitionTable = snmp::keepTable(
        parts, {{kPartitionDisk, partitions::Disk.number}, {kPartitionColumns[0], partitions::Number.number}});
    snmp::addTable(snmp::OID(kPartitionEntry), "hrPartitionEntry", partitionTable, kPartitionColumns);
}

}  // namespace host
