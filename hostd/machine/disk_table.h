#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "hostd/machine/disk_reader.h"
#include "hostd/source/watched_table.h"

namespace hostd {

/// The disks, one reading for all owners that use them.
using Disks = Watch<Reading<Disk>>;

constexpr std::chrono::seconds kDisksMaxAge{5};

/// Starts the first reading on a helper thread and returns at once.
/// @param proc    path of the kernel's process tree ("/proc"), for the mount list
/// @param sizeOf  runs on helper threads, several at once; replaced by tests
[[nodiscard]] std::shared_ptr<Disks> watchDisks(const std::string& proc, const DiskSizer& sizeOf = sizeOfDisk);

/// {79, 2}: the mounted file systems that store data and have a known size. contracts/disks.h has the fields. A new
/// disk gets the lowest free id. It keeps that id as long as it is mounted at the same path, even while its size isn't
/// known and it has no row.
class DiskTable : public WatchedTable<Disk> {
  public:
    static constexpr IdRange kIds{1, 0x10000};

    explicit DiskTable(std::shared_ptr<Disks> disks) : WatchedTable("disks", std::move(disks), kIds) {}

  protected:
    void writeEntry(const Disk& disk, tn::message& item) const override;
    [[nodiscard]] bool isShown(const Disk& disk) const override { return disk.size.has_value(); }
};

}  // namespace hostd
