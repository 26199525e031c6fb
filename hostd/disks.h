#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hostd {

/// A mounted block file system.
struct Mount {
    std::string device;  ///< major:minor, the same for each mount of one file system
    std::string point;   ///< where it is mounted

    friend bool operator==(const Mount&, const Mount&) = default;
};

/// Reads the text of /proc/self/mountinfo (proc(5)): the file systems whose source is a device, each device once, under
/// its first mount point that isn't hidden by a later mount. A line that can't be read is passed over.
[[nodiscard]] std::vector<Mount> parseMountinfo(std::string_view text);

/// Sizes in KiB.
struct DiskSize {
    uint64_t total = 0;
    uint64_t free = 0;  ///< the share kept for root included, so that total - free is what files take up

    friend bool operator==(const DiskSize&, const DiskSize&) = default;
};

/// The size of the file system mounted at a path (statvfs); nothing when it can't be had. Can block for as long as the
/// disk does.
[[nodiscard]] std::optional<DiskSize> sizeOfDisk(const std::string& mountPoint);

using DiskSizer = std::function<std::optional<DiskSize>(const std::string& mountPoint)>;

/// The sum over every mounted block file system of `proc`/self/mountinfo; nothing when there is none. Can block.
[[nodiscard]] std::optional<DiskSize> sumOfDisks(const std::string& proc, const DiskSizer& sizeOf);

}  // namespace hostd
