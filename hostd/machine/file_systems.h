#pragma once

#include <string>

#include "hostd/machine/disk_table.h"

namespace hostd {

/// {24, 1010}: the mounted file systems with a known size, those in memory included. contracts/file_systems.h has the
/// fields. Their ids are assigned like those of DiskTable. The first request starts the first reading.
class FileSystems : public WatchedTable<Disk> {
  public:
    /// @param proc    path of the kernel's process tree ("/proc"), for the mount list
    /// @param sizeOf  runs on helper threads, several at once; replaced by tests
    explicit FileSystems(const std::string& proc, const DiskSizer& sizeOf = sizeOfDisk);

  protected:
    void writeEntry(const Disk& disk, tn::message& item) const override;
    [[nodiscard]] bool isShown(const Disk& disk) const override { return disk.size.has_value(); }
};

}  // namespace hostd
