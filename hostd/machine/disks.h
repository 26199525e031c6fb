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
    std::string point;   ///< where it is mounted
    std::string source;  ///< a device, a dataset, "server:/path"
    Kind kind = Kind::Local;
    bool isWhole = true;  ///< false if only one of its folders or files is mounted

    friend auto operator<=>(const Mount&, const Mount&) = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

/// Reads the text of /proc/self/mountinfo (proc(5)): the file systems that store data, each device once, under its
/// first mount point that isn't hidden by a later mount. A line that can't be read is passed over.
[[nodiscard]] std::vector<Mount> parseMountinfo(std::string_view text);

/// Sizes in KiB.
struct DiskSize {
    uint64_t total = 0;
    uint64_t free = 0;  ///< the share kept for root included, so that total - free is what files take up

    friend bool operator==(const DiskSize&, const DiskSize&) = default;
};

/// A mount and its size, if known.
struct Disk {
    Mount mount;
    std::optional<DiskSize> size;
    std::string key = mount.device + " " + mount.point;

    [[nodiscard]] static uint32_t likedId() { return 1; }
};

/// The size of the file system mounted at a path (statvfs); nothing when it can't be had. Can block for as long as the
/// disk or server does.
[[nodiscard]] std::optional<DiskSize> sizeOfDisk(const std::string& mountPoint);

using DiskSizer = std::function<std::optional<DiskSize>(const std::string& mountPoint)>;

/// Removes mounts that repeat the overlay root's space: a container has files of the host's file system mounted into
/// it.
void removeCopies(std::vector<Disk>& disks);

/// The space of the local disks, each counted once; nothing when no disk has a known size.
[[nodiscard]] std::optional<DiskSize> sumOfDisks(std::span<const Disk> disks);

}  // namespace hostd
