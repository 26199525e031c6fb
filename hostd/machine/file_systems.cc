#include "hostd/machine/file_systems.h"

#include <memory>

#include "contracts/file_systems.h"
#include "hostd/table/row_text.h"

namespace hostd {

namespace file_systems = contracts::file_systems;

namespace {

std::function<Reading<Disk>()> readerOf(const std::string& proc, const DiskSizer& sizeOf) {
    auto reader = std::make_shared<DiskReader>(proc, sizeOf, kMaxReadingAge, MountChoice::WithMemory);
    return [reader = std::move(reader)] { return reader->read(); };
}

uint32_t kindOf(Mount::Kind kind) {
    switch (kind) {
        case Mount::Kind::Remote:
            return file_systems::kind::Remote;
        case Mount::Kind::Memory:
            return file_systems::kind::Memory;
        default:
            return file_systems::kind::Local;
    }
}

}  // namespace

FileSystems::FileSystems(const std::string& proc, const DiskSizer& sizeOf)
    : WatchedTable("file systems", readerOf(proc, sizeOf), kDisksMaxAge, DiskTable::kIds, FirstReading::OnRequest) {}

void FileSystems::writeEntry(const Disk& disk, tn::message& item) const {
    const auto& [mount, size, key] = disk;
    insertText(item, file_systems::MountPoint, mount.point);
    insertText(item, file_systems::Source, mount.source);
    insertText(item, file_systems::Type, mount.type);
    insertText(item, file_systems::Device, mount.device);
    item.insert_u32(file_systems::Kind, kindOf(mount.kind));
    if (mount.isReadOnly) item.insert_bool(file_systems::ReadOnly, true);
    item.insert_u32(file_systems::Unit, size->unit);
    item.insert_u64(file_systems::Size, size->total);
    item.insert_u64(file_systems::Free, size->free);
    item.insert_u64(file_systems::Available, size->available);
    item.insert_u64(file_systems::Files, size->files);
    item.insert_u64(file_systems::FreeFiles, size->freeFiles);
}

}  // namespace hostd
