#include "hostd/machine/disk_table.h"

#include "hostd/table/sizes.h"

namespace hostd {

std::shared_ptr<Disks> watchDisks(const std::string& proc, const DiskSizer& sizeOf) {
    auto disks = std::make_shared<Disks>(
        "disks", [reader = std::make_shared<DiskReader>(proc, sizeOf)] { return reader->read(); }, kDisksMaxAge);
    disks->keepReading();
    return disks;
}

void DiskTable::list(const Disk& disk, tn::message& item) const {
    insertSizes(item, disk::Size, disk.size->total, disk::Free, disk.size->free);
    item.insert_string(disk::MountPoint, disk.mount.point);
}

}  // namespace hostd
