#include "hostd/machine/block_disks.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "hostd/source/sysfs.h"

namespace hostd {

namespace {

namespace fs = std::filesystem;

/// The size of a device; the kernel gives it in sectors of 512 octets.
uint64_t sizeIn(const std::string& folder) {
    const std::string text = readAttribute(folder + "/size");
    uint64_t sectors = 0;
    std::from_chars(text.data(), text.data() + text.size(), sectors);
    return sectors / 2;
}

/// A text without the blanks with which devices fill it up.
std::string withoutBlanks(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    text.erase(0, text.find_first_not_of(' '));
    return text;
}

std::string describeDisk(const std::string& name, const std::string& folder) {
    std::string text = name;
    for (const char* part : {"/device/vendor", "/device/model"}) {
        const std::string value = withoutBlanks(readAttribute(folder + part));
        if (!value.empty() && !value.starts_with("0x")) text += (text == name ? ": " : " ") + value;
    }
    return text;
}

}  // namespace

std::vector<BlockDisk> readDisks(const std::string& sysfs) {
    std::vector<BlockDisk> disks;
    for (const std::string& name : namesIn(sysfs + "/block")) {
        const std::string folder = sysfs + "/block/" + name;
        std::error_code failed;
        if (!fs::exists(folder + "/device", failed)) continue;
        BlockDisk& disk = disks.emplace_back();
        disk.key = name;
        disk.description = describeDisk(name, folder);
        disk.isOffline = readAttribute(folder + "/device/state") == "offline";
        disk.isReadOnly = readNumber(folder + "/ro", 10) == 1;
        disk.isRemovable = readNumber(folder + "/removable", 10) == 1;
        disk.size = sizeIn(folder);
        for (const std::string& part : namesIn(folder)) {
            const std::string inner = folder + "/" + part;
            const auto number = part.starts_with(name) ? readNumber(inner + "/partition", 10) : std::nullopt;
            if (number) disk.partitions.push_back({*number, part, readAttribute(inner + "/dev"), sizeIn(inner)});
        }
        std::ranges::sort(disk.partitions, {}, &Partition::number);
    }
    return disks;
}

std::string diskOf(const std::string& sysfs, const std::string& device, const std::string& source) {
    std::error_code failed;
    fs::path folder = fs::canonical(sysfs + "/dev/block/" + device, failed);
    if (failed) folder = fs::canonical(sysfs + "/class/block/" + fs::path(source).filename().string(), failed);
    if (failed || source.empty()) return {};
    constexpr int kMaxLayers = 8;  // of mapped devices
    for (int layer = 0; layer < kMaxLayers; ++layer) {
        const std::vector<std::string> below = namesIn(folder / "slaves");
        if (below.empty()) break;
        folder = fs::canonical(folder / "slaves" / below.front(), failed);
        if (failed) return {};
    }
    if (fs::exists(folder / "partition", failed)) folder = folder.parent_path();
    return fs::exists(folder / "device", failed) ? folder.filename().string() : "";
}

}  // namespace hostd
