#include "hostd/machine/disks.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <map>
#include <set>

namespace hostd {

namespace {

std::string_view nextWord(std::string_view& line) {
    const size_t end = std::min(line.find(' '), line.size());
    const std::string_view word = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return word;
}

/// A name of mountinfo in plain text. The kernel escapes space, tab, newline and backslash as a backslash and three
/// octal digits.
std::string unescaped(std::string_view name) {
    std::string plain;
    const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '\\' && i + 3 < name.size() && std::all_of(&name[i + 1], &name[i + 1] + 3, isOctal)) {
            plain += static_cast<char>((name[i + 1] - '0') * 64 + (name[i + 2] - '0') * 8 + (name[i + 3] - '0'));
            i += 3;
        } else {
            plain += name[i];
        }
    }
    return plain;
}

/// The kind of a mount; nothing for a file system that stores no data or only shows the data of another one.
std::optional<Mount::Kind> kindOf(std::string_view type, std::string_view source, std::string_view point) {
    static constexpr std::string_view kRemote[] = {
        "nfs", "nfs4", "cifs", "smb3", "ceph", "lustre", "9p", "virtiofs", "fuse.sshfs", "fuse.glusterfs", "fuse.ceph",
    };
    static constexpr std::string_view kOverlays[] = {"overlay", "aufs", "fuse.fuse-overlayfs"};
    if (std::ranges::find(kRemote, type) != std::end(kRemote)) return Mount::Kind::Remote;
    if (type == "zfs" && source.find('@') == std::string_view::npos)
        return Mount::Kind::Dataset;  // a snapshot has an @
    if (std::ranges::find(kOverlays, type) != std::end(kOverlays) && point == "/") return Mount::Kind::Overlay;
    if (type == "tmpfs") return Mount::Kind::Memory;
    // The source of raw flash isn't a path: "ubi0_3", "ubi0:rootfs", "mtd:data".
    if (type == "ubifs" || type == "jffs2") return Mount::Kind::Local;
    if (source.starts_with("/dev/") && !type.starts_with("fuse.") && type != "fuse") return Mount::Kind::Local;
    return {};
}

/// A parsed line of mountinfo.
struct Line {
    Mount mount;
    bool isShown = false;  // the file system stores data; if not, the mount can still hide others
};

/// Whether mount options include this one. The kernel separates them by commas.
bool hasOption(std::string_view options, std::string_view wanted) {
    while (!options.empty()) {
        const size_t end = std::min(options.find(','), options.size());
        if (options.substr(0, end) == wanted) return true;
        options.remove_prefix(std::min(end + 1, options.size()));
    }
    return false;
}

/// Parses a line such as "36 35 98:0 /root /mount/point rw,noatime master:1 - ext3 /dev/root rw,errors=continue".
std::optional<Line> parseLine(std::string_view line) {
    nextWord(line);  // mount id
    nextWord(line);  // parent's mount id
    Line parsed;
    Mount& mount = parsed.mount;
    mount.device = nextWord(line);
    mount.isWhole = nextWord(line) == "/";
    mount.point = unescaped(nextWord(line));
    const size_t separator = line.find(" - ");
    if (mount.point.empty() || separator == std::string_view::npos) return {};
    line.remove_prefix(separator + 3);
    mount.type = nextWord(line);
    mount.source = unescaped(nextWord(line));
    mount.isReadOnly = hasOption(nextWord(line), "ro");
    const auto kind = kindOf(mount.type, mount.source, mount.point);
    parsed.isShown = kind.has_value();
    mount.kind = kind.value_or(Mount::Kind::Local);
    return parsed;
}

}  // namespace

std::vector<Mount> parseMountinfo(std::string_view text, MountChoice choice) {
    std::vector<Line> lines;
    std::map<std::string, size_t> uppermost;  // by mount point: a later mount hides the earlier ones
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        if (auto line = parseLine(text.substr(0, end))) {
            uppermost[line->mount.point] = lines.size();
            lines.push_back(std::move(*line));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    std::vector<Mount> mounts;
    std::set<std::string> seen;
    for (size_t i = 0; i < lines.size(); ++i) {
        const Mount& mount = lines[i].mount;
        if (mount.kind == Mount::Kind::Memory && choice == MountChoice::Disks) continue;
        if (lines[i].isShown && uppermost[mount.point] == i && seen.insert(mount.device).second)
            mounts.push_back(mount);
    }
    return mounts;
}

std::optional<DiskSize> sizeOfDisk(const std::string& mountPoint) {
    struct statvfs fs {};
    if (::statvfs(mountPoint.c_str(), &fs) != 0 || fs.f_blocks == 0) return {};  // 0: a file system without a size
    const auto kib = [&fs](uint64_t blocks) {
        const uint64_t unit = fs.f_frsize;
        return unit >= 1024 ? blocks * (unit / 1024) : blocks * unit / 1024;
    };
    return DiskSize{.total = kib(fs.f_blocks),
                    .free = kib(std::min(fs.f_bfree, fs.f_blocks)),
                    .available = kib(std::min(fs.f_bavail, fs.f_blocks)),
                    .files = fs.f_files,
                    .freeFiles = std::min(fs.f_ffree, fs.f_files),
                    .unit = static_cast<uint32_t>(fs.f_frsize)};
}

namespace {

/// True if both sizes are probably those of one file system, as of an overlay and its upper layer's file system. Free
/// space may change between two queries, so it need only be similar. Equal totals alone aren't enough, since disks of
/// the same model have them.
bool isSameSpace(const DiskSize& a, const DiskSize& b) {
    return a.total == b.total && std::max(a.free, b.free) - std::min(a.free, b.free) <= a.total / 100;
}

}  // namespace

void removeCopies(std::vector<Disk>& disks) {
    const auto root = std::ranges::find(disks, Mount::Kind::Overlay, [](const Disk& disk) { return disk.mount.kind; });
    if (root == disks.end() || !root->size) return;
    std::erase_if(disks, [space = *root->size](const Disk& disk) {
        return !disk.mount.isWhole && disk.size && isSameSpace(*disk.size, space);
    });
}

std::optional<DiskSize> sumOfDisks(std::span<const Disk> disks) {
    std::optional<DiskSize> sum;
    std::optional<DiskSize> overlay;
    std::vector<DiskSize> spaces;
    std::map<std::string_view, DiskSize> pools;  // a dataset's total is its own data plus the pool's free space
    for (const auto& [mount, size, key] : disks) {
        if (!size || mount.kind == Mount::Kind::Remote) continue;
        if (!sum) sum.emplace();
        if (mount.kind == Mount::Kind::Overlay) {
            overlay = size;
        } else if (mount.kind == Mount::Kind::Dataset) {
            DiskSize& pool = pools[std::string_view(mount.source).substr(0, mount.source.find('/'))];
            pool.total += size->total - size->free;
            pool.free = std::max(pool.free, size->free);
        } else {
            spaces.push_back(*size);
            sum->total += size->total;
            sum->free += size->free;
        }
    }
    for (const auto& [name, pool] : pools) {
        sum->total += pool.total + pool.free;
        sum->free += pool.free;
    }
    const auto isOverlays = [&](const DiskSize& space) { return isSameSpace(space, *overlay); };
    if (overlay && std::ranges::none_of(spaces, isOverlays)) {
        sum->total += overlay->total;
        sum->free += overlay->free;
    }
    return sum;
}

}  // namespace hostd
