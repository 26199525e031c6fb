// hrStorageTable (RFC 2790): main memory, its parts, swap space, and file systems.
//
//     hrStorageTable    INDEX { hrStorageIndex }
//
// The allocation units of a large storage are made larger until its size fits into an Integer32.

#include "agent/mib/providers/data_provider.h"
#include "agent/mib/providers/get_all_multi_provider.h"
#include "contracts/file_systems.h"
#include "contracts/memory.h"
#include "contracts/object_class.h"
#include "host.h"

namespace host {

namespace {

namespace file_systems = contracts::file_systems;
namespace memory = contracts::memory;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

/// Values of hrStorageType, below kStorageTypes.
enum Type : unsigned { Other = 1, Ram, VirtualMemory, FixedDisk, CompactDisc = 7, RamDisk, FlashMemory, NetworkDisk };

struct Storage : snmp::Data {
    unsigned int index = 0;
    snmp::OID type;
    std::string description;
    unsigned int unit = 1024;         // octets
    unsigned int size = 0, used = 0;  // units

    Storage(unsigned int at, Type kind, std::string name) : index(at), description(std::move(name)) {
        type = snmp::OID(kStorageTypes) + kind;
    }
    /// @param octets  of an allocation unit
    void setSizes(uint64_t sizeKib, uint64_t usedKib, uint64_t octets) {
        while (sizeKib * 1024 / octets > INT32_MAX) octets *= 2;
        unit = static_cast<unsigned int>(octets);
        size = static_cast<unsigned int>(sizeKib * 1024 / octets);
        used = integer32(usedKib * 1024 / octets);
    }
    static void buildMemory(snmp::Rows& rows);
    static std::unique_ptr<snmp::Data> buildFileSystem(const tn::message& m);
};

/// Memory in KiB.
struct Memory : snmp::Data {
    tn::message values;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Memory>();
        record->values = m;
        return record;
    }
};

snmp::DataProvider* memorySizes = nullptr;

/// The descriptions are those by which pollers recognize the rows. As they subtract buffers and cache themselves, what
/// is used of the physical memory includes them.
void Storage::buildMemory(snmp::Rows& rows) {
    const auto record = memorySizes->get();
    const tn::message& m = static_cast<const Memory&>(*record).values;
    const uint64_t total = m.get_u64(memory::Total);
    const uint64_t used = total - std::min(m.get_u64(memory::Free), total);
    const uint64_t swap = m.get_u64(memory::SwapTotal);
    const uint64_t swapped = swap - std::min(m.get_u64(memory::SwapFree), swap);
    const uint64_t cached = m.get_u64(memory::Cached) + m.get_u64(memory::Reclaimable);
    const uint64_t available = m.get_u64(memory::Available);
    const auto add = [&rows](unsigned int at, Type kind, const char* name, uint64_t whole, uint64_t part) {
        auto row = std::make_unique<Storage>(at, kind, name);
        row->setSizes(whole, part, 1024);
        rows.push_back(std::move(row));
    };
    if (total == 0) return;  // the owner doesn't answer
    add(1, Ram, "Physical memory", total, used);
    add(3, VirtualMemory, "Virtual memory", total + swap, used + swapped);
    add(6, Other, "Memory buffers", total, m.get_u64(memory::Buffers));
    add(7, Other, "Cached memory", cached, cached);
    add(8, Other, "Shared memory", m.get_u64(memory::Shared), m.get_u64(memory::Shared));
    if (swap > 0) add(10, VirtualMemory, "Swap space", swap, swapped);
    add(11, Other, "Available memory", available, 0);
}

Type typeOf(uint32_t kind, const std::string& fileSystem) {
    if (kind == file_systems::kind::Remote) return NetworkDisk;
    if (kind == file_systems::kind::Memory) return RamDisk;
    if (fileSystem == "iso9660" || fileSystem == "udf") return CompactDisc;
    return fileSystem == "ubifs" || fileSystem == "jffs2" ? FlashMemory : FixedDisk;
}

std::unique_ptr<snmp::Data> Storage::buildFileSystem(const tn::message& m) {
    const Type type = typeOf(m.get_u32(file_systems::Kind), m.get_string(file_systems::Type));
    auto record = std::make_unique<Storage>(m.get_u32(tn::field::ObjectId) | kFileSystemIndexes, type,
                                            m.get_string(file_systems::MountPoint).substr(0, 255));
    const uint64_t size = m.get_u64(file_systems::Size);
    const uint32_t unit = std::max(m.get_u32(file_systems::Unit), 1U);
    record->setSizes(size, size - std::min(m.get_u64(file_systems::Free), size), unit);
    return record;
}

constexpr auto kEntry = snmp::under(kHost, 2, 3, 1);
constexpr snmp::Column<Storage> kColumns[] = {
    {1, "hrStorageIndex", tag::Integer, &Storage::index},
    {2, "hrStorageType", tag::ObjectIdentifier, &Storage::type},
    {3, "hrStorageDescr", tag::OctetString, &Storage::description},
    {4, "hrStorageAllocationUnits", tag::Integer, &Storage::unit},
    {5, "hrStorageSize", tag::Integer, &Storage::size},
    {6, "hrStorageUsed", tag::Integer, &Storage::used},
};
static_assert(snmp::ascending(kColumns));

}  // namespace

void startStorage() {
    memorySizes = snmp::keep<snmp::GetProvider>(Memory::build, memory::kPath, tn::cmd::Get, tn::cmd::Set, kWhole);
    auto* rows = snmp::keep<snmp::GetAllMultiProvider>();
    rows->addSource(Storage::buildMemory, 1);
    rows->addSource(snmp::oneRow<Storage::buildFileSystem>, file_systems::kPath, kWhole, kFileSystemIndexes);
    snmp::MapTable* table = snmp::keepTable(rows, {{kColumns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kEntry), "hrStorageEntry", table, kColumns);
}

}  // namespace host
