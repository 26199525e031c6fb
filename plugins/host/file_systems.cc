// hrFSTable (RFC 2790): the file systems of hrStorageTable.
//
//     hrFSTable    INDEX { hrFSIndex }

#include "contracts/file_systems.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/object_class.h"
#include "host.h"

namespace host {

namespace {

namespace file_systems = contracts::file_systems;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

struct FileSystem : snmp::Data {
    unsigned int index = 0;
    std::string mountPoint, remoteMountPoint;
    snmp::OID type;
    unsigned int access = kReadWrite;
    unsigned int bootable = kFalse;
    unsigned int storage = 0;  // hrStorageIndex
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};

/// The number of a file system's type below hrFSTypes.
unsigned int typeOf(const std::string& name) {
    static constexpr std::pair<const char*, unsigned int> kTypes[] = {
        {"ext2", 23},    {"ext3", 23},   {"ext4", 23}, {"xfs", 11},    {"jfs", 11},   {"vfat", 22}, {"msdos", 5},
        {"iso9660", 12}, {"ntfs", 9},    {"ntfs3", 9}, {"fuseblk", 9}, {"nfs", 14},   {"nfs4", 14}, {"ufs", 3},
        {"hfs", 7},      {"hfsplus", 7}, {"hpfs", 6},  {"afs", 16},    {"ncpfs", 15}, {"bfs", 21},  {"sysv", 4},
    };
    constexpr unsigned int kOther = 1;
    const auto found = std::ranges::find(kTypes, name, [](const auto& type) { return std::string(type.first); });
    return found == std::end(kTypes) ? kOther : found->second;
}

std::unique_ptr<snmp::Data> FileSystem::build(const tn::message& m) {
    auto record = std::make_unique<FileSystem>();
    record->index = m.get_u32(tn::field::ObjectId);
    const std::string mountPoint = m.get_string(file_systems::MountPoint);
    record->mountPoint = mountPoint.substr(0, kMaxText);
    if (m.get_u32(file_systems::Kind) == file_systems::kind::Remote)
        record->remoteMountPoint = m.get_string(file_systems::Source).substr(0, kMaxText);
    record->type = snmp::OID(kDevices) + snmp::OID{9, typeOf(m.get_string(file_systems::Type))};
    record->access = m.get_bool(file_systems::ReadOnly) ? kReadOnly : kReadWrite;
    record->bootable = mountPoint == "/" || mountPoint == "/boot" ? kTrue : kFalse;
    record->storage = record->index | kFileSystemIndexes;
    return record;
}

/// The date by which the MIB says that it isn't known: January 1 of year 0.
constexpr std::string_view kUnknownDate{"\0\0\1\1\0\0\0\0", 8};

constexpr auto kEntry = snmp::under(kDevices, 8, 1);
constexpr snmp::Column<FileSystem> kColumns[] = {
    {1, "hrFSIndex", tag::Integer, &FileSystem::index},
    {2, "hrFSMountPoint", tag::OctetString, &FileSystem::mountPoint},
    {3, "hrFSRemoteMountPoint", tag::OctetString, &FileSystem::remoteMountPoint},
    {4, "hrFSType", tag::ObjectIdentifier, &FileSystem::type},
    {5, "hrFSAccess", tag::Integer, &FileSystem::access},
    {6, "hrFSBootable", tag::Integer, &FileSystem::bootable},
    {7, "hrFSStorageIndex", tag::Integer, &FileSystem::storage},
    {8, "hrFSLastFullBackupDate", tag::OctetString, snmp::ConstantText{kUnknownDate}},
    {9, "hrFSLastPartialBackupDate", tag::OctetString, snmp::ConstantText{kUnknownDate}},
};
static_assert(snmp::ascending(kColumns));

}  // namespace

void startFileSystems() {
    auto* rows = snmp::keep<snmp::GetAllProvider>(file_systems::kPath, snmp::oneRow<FileSystem::build>, kWhole);
    snmp::MapTable* table = snmp::keepTable(rows, {{kColumns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kEntry), "hrFSEntry", table, kColumns);
}

}  // namespace host
