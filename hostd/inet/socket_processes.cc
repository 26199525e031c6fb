#include "hostd/inet/socket_processes.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <string_view>

#include "tn/sources.h"

namespace hostd {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kInterval{5};

/// The number that is all of a text; 0 if it isn't one.
uint32_t wholeNumber(std::string_view text) {
    uint32_t value = 0;
    const auto [rest, failed] = std::from_chars(text.data(), text.data() + text.size(), value);
    return failed == std::errc() && rest == text.data() + text.size() ? value : 0;
}

/// The inode in "socket:[INODE]"; 0 for another file.
uint32_t inodeOf(std::string_view target) {
    constexpr std::string_view kBefore = "socket:[";
    if (!target.starts_with(kBefore) || !target.ends_with(']')) return 0;
    return wholeNumber(target.substr(kBefore.size(), target.size() - kBefore.size() - 1));
}

/// The names in a folder; those read until a failure.
std::vector<std::string> listFolder(const fs::path& folder) {
    std::vector<std::string> names;
    std::error_code fault;
    for (fs::directory_iterator at(folder, fault); !fault && at != fs::directory_iterator(); at.increment(fault))
        names.push_back(at->path().filename());
    return names;
}

}  // namespace

void SocketProcesses::find(const std::vector<uint32_t>& inodes) {
    const auto now = tn::sinceBoot();
    const bool isDue = !searched_ || now - *searched_ >= kInterval;
    const auto isUnknown = [this](uint32_t inode) { return inode != 0 && !pids_.contains(inode); };
    if (!isDue || std::ranges::none_of(inodes, isUnknown)) return;
    searched_ = now;
    search();
}

void SocketProcesses::search() {
    pids_.clear();
    for (const std::string& name : listFolder(proc_)) {
        const uint32_t pid = wholeNumber(name);
        if (pid == 0) continue;
        const fs::path files = fs::path(proc_) / name / "fd";
        for (const std::string& file : listFolder(files)) {
            std::error_code fault;
            const uint32_t inode = inodeOf(fs::read_symlink(files / file, fault).native());
            if (inode == 0) continue;
            const auto [at, isNew] = pids_.try_emplace(inode, pid);
            if (!isNew) at->second = std::min(at->second, pid);
        }
    }
}

uint32_t SocketProcesses::of(uint32_t inode) const {
    const auto found = pids_.find(inode);
    return found == pids_.end() ? 0 : found->second;
}

}  // namespace hostd
