#include "hostd/disks.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "hostd/kept_file.h"

namespace hostd {

namespace {

std::string_view nextWord(std::string_view& line) {
    const size_t end = std::min(line.find(' '), line.size());
    const std::string_view word = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return word;
}

/// The kernel writes space, tab, newline and backslash in names as three octal digits (seq_path).
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

struct Line {
    Mount mount;
    bool isBlock = false;
};

// "36 35 98:0 /root /mount/point rw,noatime master:1 - ext3 /dev/root rw,errors=continue"
std::optional<Line> parseLine(std::string_view line) {
    nextWord(line);  // mount id
    nextWord(line);  // parent's mount id
    const std::string_view device = nextWord(line);
    nextWord(line);  // root within the file system
    const std::string_view point = nextWord(line);
    const size_t separator = line.find(" - ");
    if (point.empty() || separator == std::string_view::npos) return {};
    line.remove_prefix(separator + 3);
    nextWord(line);  // type
    return Line{{std::string(device), unescaped(point)}, nextWord(line).starts_with("/dev/")};
}

}  // namespace

std::vector<Mount> parseMountinfo(std::string_view text) {
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
        if (lines[i].isBlock && uppermost[mount.point] == i && seen.insert(mount.device).second)
            mounts.push_back(mount);
    }
    return mounts;
}

std::optional<DiskSize> sizeOfDisk(const std::string& mountPoint) {
    struct statvfs fs {};
    if (::statvfs(mountPoint.c_str(), &fs) != 0) return {};
    const auto kib = [&fs](uint64_t blocks) {
        const uint64_t unit = fs.f_frsize;
        return unit >= 1024 ? blocks * (unit / 1024) : blocks * unit / 1024;
    };
    return DiskSize{kib(fs.f_blocks), kib(std::min(fs.f_bfree, fs.f_blocks))};
}

std::optional<DiskSize> sumOfDisks(const std::string& proc, const DiskSizer& sizeOf) {
    std::optional<DiskSize> sum;
    for (const Mount& mount : parseMountinfo(readFile(proc + "/self/mountinfo"))) {
        const auto size = sizeOf(mount.point);
        if (!size) continue;
        if (!sum) sum.emplace();
        sum->total += size->total;
        sum->free += size->free;
    }
    return sum;
}

}  // namespace hostd
