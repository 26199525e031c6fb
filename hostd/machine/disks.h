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
        Dataset,  ///< of ZFS: its free space is its pool's
        Overlay,  ///< the root of a container or live system: its space is that of its upper layer
        Remote,   ///< on another machine, or on this guest's host
    };
    std::string device;  ///< major:minor, the same for each mount of one file system
    std::string point;   ///< path where it is mounted
    std::string source;  ///< a device, a dataset, "server:/path"
    Kind kind = Kind::Local;
    bool isWhole = true;  ///< false if only one of its folders or files is mounted

    friend auto operator<=>(const Mount&, const Mount&) = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

/// Parses the text of /proc/self/mountinfo (proc(5)). Returns the file systems that store data, each device once, under
/// its first mount point that no later mount hides. Lines that can't be parsed are skipped.
[[nodiscard]] std::vector<Mount> parseMountinfo(std::string_view text);

/// Sizes of a file system in KiB.
struct DiskSize {
    uint64_t total = 0;
    uint64_t free = 0;  ///< the share reserved for root included, so that total - free is what files occupy

    friend bool operator==(const DiskSize&, const DiskSize&) = default;
};

/// A mount and its size, if known.
struct Disk {
    Mount mount;
    std::optional<DiskSize> size;
    std::string key = mount.device + " " + mount.point;

    [[nodiscard]] static uint32_t preferredId() { return 1; }
};

/// The size of the file system mounted at a path (statvfs(3)); nothing when the call fails or reports a size of 0. Can
/// block for as long as the disk or server does.
[[nodiscard]] std::optional<DiskSize> sizeOfDisk(const std::string& mountPoint);

using DiskSizer = std::function<std::optional<DiskSize>(const std::string& mountPoint)>;

/// Removes partial mounts (`isWhole` false) that repeat the overlay root's space: a container has files of the host's
/// file system mounted into it.
void removeCopies(std::vector<Disk>& disks);

/// The space of the local disks, each counted once; nothing when no disk has a known size.
[[nodiscard]] std::optional<DiskSize> sumOfDisks(std::span<const Disk> disks);

}  // namespace hostd
