#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace hostd {

/// A partition of a disk.
struct Partition {
    uint32_t number = 0;
    std::string name;    ///< of the kernel: "sda1"
    std::string device;  ///< major:minor
    uint64_t size = 0;   ///< KiB
};

/// A disk, as sysfs shows it.
struct BlockDisk {
    std::string key;          ///< the kernel's name: "sda"
    std::string description;  ///< the name, and vendor and model if known
    bool isOffline = false;
    bool isReadOnly = false;
    bool isRemovable = false;
    uint64_t size = 0;                  ///< KiB; 0 without a medium
    std::vector<Partition> partitions;  ///< ascending by number

    /// The same for all disks, so that a new disk gets the lowest free id.
    [[nodiscard]] static uint32_t preferredId() { return 1; }
};

/// The disks that a driver has created, ascending by name; no loop devices, RAM disks or mapped devices.
/// @param sysfs  path of the kernel's device tree ("/sys")
[[nodiscard]] std::vector<BlockDisk> readDisks(const std::string& sysfs);

/// The name of the disk that contains a block device: itself, that of a partition, or the first one below a mapped
/// device. Empty if there is none.
/// @param device  major:minor
/// @param source  "/dev/sda1"; counts if sysfs doesn't have the device, as for btrfs
[[nodiscard]] std::string diskOf(const std::string& sysfs, const std::string& device, const std::string& source);

}  // namespace hostd
