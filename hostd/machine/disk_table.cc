#include "hostd/machine/disk_table.h"

#include "contracts/disks.h"
#include "hostd/table/sizes.h"

namespace hostd {

namespace disks = contracts::disks;

std::shared_ptr<Disks> watchDisks(const std::string& proc, const DiskSizer& sizeOf) {
    return std::make_shared<Disks>(
        "disks", [reader = std::make_shared<DiskReader>(proc, sizeOf)] { return reader->read(); }, kDisksMaxAge);
}

void DiskTable::writeEntry(const Disk& disk, tn::message& item) const {
    insertSizes(item, disks::Size, disk.size->total, disks::Free, disk.size->free);
    item.insert_string(disks::MountPoint, disk.mount.point);
}

}  // namespace hostd
