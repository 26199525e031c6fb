#include "hostd/services/scripts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>

#include "contracts/scripts.h"
#include "hostd/log.h"
#include "tn/paths.h"
#include "tn/sources.h"

namespace hostd {

namespace scripts = contracts::scripts;

namespace {

namespace fs = std::filesystem;

/// When entries of a folder were last added, removed or renamed: ns since 1970. -1 if the folder doesn't exist.
int64_t changeTime(const std::string& folder) {
    struct stat status {};
    if (::stat(folder.c_str(), &status) != 0) return -1;
    return status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec;
}

std::set<std::string> scriptsIn(const std::string& folder) {
    std::set<std::string> names;
    std::error_code failed;
    for (fs::directory_iterator at(folder, failed), end; !failed && at != end; at.increment(failed)) {
        const std::string name = at->path().filename();
        std::error_code unknown;
        if (name.starts_with('.') || !at->is_regular_file(unknown)) continue;
        if (::access(at->path().c_str(), X_OK) == 0) names.insert(name);
    }
    return names;
}

bool isName(const std::string& name) {
    constexpr size_t kMost = 255;  // NAME_MAX
    return !name.empty() && name.size() <= kMost && !name.starts_with('.') &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
}

/// The reason why a script must not run with this process's rights, as a line for people; empty if it may.
std::string whyNotRun(const std::string& folder, const std::string& name) {
    const auto isPrintable = [](char c) { return c >= ' ' && c <= '~'; };
    if (name.starts_with('-') || !std::ranges::all_of(name, isPrintable))
        return "its name begins with - or has octets that aren't printable ASCII";
    for (const std::string& path : {folder, folder + "/" + name}) {
        const tn::Exposure exposed = tn::exposedPart(path, tn::kToTheTop);
        if (exposed) return exposed.part + ": " + exposed.reason;
    }
    return {};
}

tn::message refused(const std::string& why) { return tn::errorMsg(tn::error::Refused, why); }

}  // namespace

void Scripts::refresh() {
    const std::chrono::milliseconds now = tn::sinceBoot();
    const int64_t changed = changeTime(folder_);
    if (changed == folderChanged_ && now - scanned_ < kMaxAge) return;
    folderChanged_ = changed;
    scanned_ = now;
    scan();
}

void Scripts::scan() {
    std::set<std::string> found = scriptsIn(folder_);
    std::erase_if(names_, [&](const auto& entry) { return found.erase(entry.second) == 0; });
    for (const std::string& name : found) names_[++lastId_] = name;
}

std::optional<uint32_t> Scripts::firstFrom(uint32_t id) const {
    const auto next = names_.lower_bound(id);
    return next == names_.end() ? std::nullopt : std::optional(next->first);
}

void Scripts::writeRow(uint32_t id, tn::message& row) const { row.insert_string(scripts::Name, names_.at(id)); }

tn::message Scripts::changeRow(uint32_t id, const tn::message& request) {
    std::string& name = names_.at(id);
    const std::string wanted = request.get_string(scripts::Name, name);
    if (wanted == name) return {};
    if (!isName(wanted)) return refused("a script's name is 1 to 255 octets, without slash and without a leading dot");
    const std::string from = folder_ + "/" + name;
    const std::string to = folder_ + "/" + wanted;
    // rename(2) would replace an existing file.
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0)
        return refused("script " + name + " not renamed: " + std::strerror(errno));
    hostLog << "script renamed: " << name << " is now " << wanted;
    name = wanted;
    return {};
}

tn::message Scripts::cmdUnknown(const tn::message& request, uint32_t command) {
    return command == scripts::kRun ? run(request) : IdTable::cmdUnknown(request, command);
}

tn::message Scripts::run(const tn::message& request) {
    refresh();
    std::erase_if(runs_, [](const auto& entry) { return entry.second->hasEnded(); });
    const auto found = names_.find(request.get_u32(tn::field::ObjectId, tn::kNoId));
    if (found == names_.end()) return tn::errorMsg(tn::error::NotFound, "no such script");
    if (runs_.size() >= kMaxRuns) return refused("too many scripts are running");
    const std::string why = whyNotRun(folder_, found->second);
    if (!why.empty()) return refused("script " + tn::escaped(found->second) + " not run: " + why);
    auto run = std::make_unique<ScriptRun>(found->second);
    if (!run->start(folder_ + "/" + found->second))
        return refused("script " + found->second + " not started: " + std::strerror(errno));
    runs_[++lastRun_] = std::move(run);
    return {};
}

}  // namespace hostd
