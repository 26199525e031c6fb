#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace hostd {

/// A mounted file system that stores data.
struct Mount {
    enum class Kind {
        Local,    ///< on a local block device or raw flash
        Dataset,  ///< of ZFS; its free space is that of its pool
        Overlay,  ///< overlay root of a container or live system; its space is that of its upper layer's file system
        Remote,   ///< on another machine, or, in a virtual machine, on its host
        Memory,   ///< tmpfs
    };
    std::string device;  ///< major:minor, the same for all mounts of a file system
    std::string point;   ///< path where it is mounted
    std::string source;  ///< a device, a dataset, "server:/path"
    Kind kind = Kind::Local;
    bool isWhole = true;      ///< false if only a folder or file of the file system is mounted
    std::string type{};       ///< "ext4"
    bool isReadOnly = false;  ///< the file system, not this mount alone: a sandbox has such mounts

    friend auto operator<=>(const Mount&, const Mount&) = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

/// Which mounts are listed.
enum class MountChoice {
    Disks,       ///< without those in memory
    WithMemory,  ///< with those in memory
};

/// Parses the text of /proc/self/mountinfo (proc(5)). Returns the mounts of file systems that store data. Each device
/// occurs once, with the first of its mount points that no later mount hides. Lines that can't be parsed are skipped.
[[nodiscard]] std::vector<Mount> parseMountinfo(std::string_view text, MountChoice choice = MountChoice::Disks);

/// Sizes of a file system, in KiB unless noted.
struct DiskSize {
    uint64_t total = 0;
    uint64_t free = 0;       ///< includes the blocks reserved for root, so that total - free is what files occupy
    uint64_t available = 0;  ///< without those blocks
    uint64_t files = 0;      ///< number of inodes; 0 if it isn't limited
    uint64_t freeFiles = 0;  ///< number of inodes
    uint32_t unit = 0;       ///< octets of an allocation unit

    friend bool operator==(const DiskSize&, const DiskSize&) = default;
};

/// A mount and its size, if known.
struct Disk {
    Mount mount;
    std::optional<DiskSize> size;
    std::string key = mount.device + " " + mount.point;  ///< identifies it

    /// The same for all disks, so that a new disk gets the lowest free id.
    [[nodiscard]] static uint32_t preferredId() { return 1; }
};

/// The size of the file system mounted at a path (statvfs(3)). Nothing when the call fails or reports a size of 0. Can
/// block as long as the disk or the server doesn't answer.
[[nodiscard]] std::optional<DiskSize> sizeOfDisk(const std::string& mountPoint);

/// sizeOfDisk, or a replacement of it in tests.
using DiskSizer = std::function<std::optional<DiskSize>(const std::string& mountPoint)>;

/// Removes partial mounts (`isWhole` false) with the same space as the overlay root. A container has them: its root and
/// single files in it are on the same file system of the host.
void removeCopies(std::vector<Disk>& disks);

/// The total space of all disks that aren't remote. Space that several of them share is counted once. Nothing when none
/// of them has a known size.
[[nodiscard]] std::optional<DiskSize> sumOfDisks(std::span<const Disk> disks);

}  // namespace hostd
