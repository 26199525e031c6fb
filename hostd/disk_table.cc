#include "hostd/disk_table.h"

#include <algorithm>

#include "hostd/kept_file.h"
#include "hostd/sizes.h"
#include "tn/sources.h"

namespace hostd {

DiskTable::DiskTable(const std::string& proc, const DiskSizer& sizeOf)
    : background_(
          "disks",
          [proc, sizeOf] {
              Reading reading;
              for (Mount& mount : parseMountinfo(readFile(proc + "/self/mountinfo")))
                  if (const auto size = sizeOf(mount.point)) reading.push_back({std::move(mount), *size});
              return reading;
          },
          kMaxAge, kPatience) {
    background_.readFirst(tn::getMilliseconds(), std::chrono::milliseconds(kFirst));
}

void DiskTable::refresh() {
    auto latest = background_.latest(tn::getMilliseconds());
    if (latest == taken_) return;
    taken_ = std::move(latest);
    take(taken_ ? *taken_ : Reading());
}

void DiskTable::take(const Reading& reading) {
    std::map<uint32_t, Disk> disks;
    std::vector<const Disk*> added;
    for (const Disk& disk : reading) {
        const auto known =
            std::ranges::find_if(disks_, [&](const auto& entry) { return entry.second.mount == disk.mount; });
        if (known != disks_.end())
            disks[known->first] = disk;
        else
            added.push_back(&disk);
    }
    uint32_t id = 1;
    for (const Disk* disk : added) {
        while (disks.contains(id)) ++id;
        if (id >= kMostIds) break;
        disks[id] = *disk;
    }
    disks_ = std::move(disks);
}

std::optional<uint32_t> DiskTable::firstFrom(uint32_t id) const {
    const auto found = disks_.lower_bound(id);
    return found == disks_.end() ? std::nullopt : std::optional(found->first);
}

void DiskTable::listRow(uint32_t id, tn::message& row) const {
    const Disk& disk = disks_.at(id);
    insertSizes(row, disk::Size, disk.size.total, disk::Free, disk.size.free);
    row.insert_string(disk::MountPoint, disk.mount.point);
}

}  // namespace hostd
