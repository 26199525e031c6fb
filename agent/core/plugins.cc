#include "agent/core/plugins.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "agent/log.h"
#include "agent/mib/branch.h"
#include "agent/status/statistics.h"
#include "contracts/snmp_status.h"
#include "tn/paths.h"

namespace snmp {

namespace {

constexpr size_t kLongestPath = 128;    // octets
constexpr unsigned kMostFolders = 200;  // a folder with two symlinks to itself would have 2^60 paths
constexpr int kSurvived = 77;           // exit status
constexpr std::chrono::seconds kTrialTime{10};
constexpr std::string_view kSuffix = ".so";

/// Whether only root and the agent's own user can write `path` and the `foldersAbove` folders above its real location.
/// Logs and records the reason if not.
bool isOurs(const std::string& path, size_t foldersAbove) {
    const tn::Exposure exposed = tn::exposedPart(path, foldersAbove);
    if (!exposed) return true;
    swarn << "plugin refused: " << exposed.part << ": " << exposed.reason;
    statistics.setPlugin(path, "refused: " + exposed.part + ": " + exposed.reason);
    return false;
}

/// Whether a process survives loading the object. A child process tries, because a crash in a static constructor can't
/// be caught. True if no child can be created.
bool canBeLoaded(const std::string& path) {
    const pid_t child = fork();
    if (child < 0) return true;
    if (child == 0) {
        alarm(static_cast<unsigned>(kTrialTime.count()));
        // dlopen is declared noexcept, but passes on the exception of a static constructor. The volatile pointer keeps
        // the compiler from using that declaration and removing the handler.
        void* (*volatile const open)(const char*, int) = dlopen;
        try {
            (void)open(path.c_str(), RTLD_NOW);
        } catch (...) {
            _exit(EXIT_FAILURE);
        }
        _exit(kSurvived);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == kSurvived;
}

/// Whether the object was built for this version, or has no tarnixPluginVersion. Logs and records both versions
/// if not.
bool isForThisVersion(void* object, const std::string& path) {
    const auto built = reinterpret_cast<const char* (*)()>(dlsym(object, "tarnixPluginVersion"));
    if (built == nullptr || std::string_view(built()) == TARNIX_VERSION) return true;
    swarn << "plugin built for another version: " << path << ": " << built() << ", this is " << TARNIX_VERSION;
    statistics.setPlugin(path, std::string("built for version ") + built());
    return false;
}

using Branches = std::map<OID, Branch*>;

/// The prefixes of the branches that were added or replaced: the groups of scalars and the tables, each once.
std::vector<std::string> prefixesSince(const Branches& before) {
    std::set<OID> prefixes;
    for (const auto& [oid, branch] : branches) {
        const auto old = before.find(oid);
        if (old != before.end() && old->second == branch) continue;
        OID parent = oid;  // { group number } or { table 1 }
        parent.pop_back();
        prefixes.insert(std::move(parent));
    }
    std::vector<std::string> texts;
    for (const OID& prefix : prefixes) texts.push_back(prefix.str().substr(1));
    return texts;
}

void start(void* object, const std::string& path) {
    const auto autorun = reinterpret_cast<void (*)()>(dlsym(object, "autorun"));
    if (autorun == nullptr) {
        swarn << "plugin " << path << " has no symbol autorun";
        statistics.setPlugin(path, "no symbol autorun");
        return;
    }
    const Branches before = branches;
    std::string failure;
    try {
        autorun();
    } catch (const std::exception& fault) {
        swarn << "plugin failed in autorun: " << path << ": " << fault.what();
        failure = std::string("failed in autorun: ") + fault.what();
    } catch (...) {
        swarn << "plugin failed in autorun: " << path;
        failure = "failed in autorun";
    }
    statistics.setPlugin(path, failure, prefixesSince(before));
}

void load(const std::string& path, const std::vector<std::string>& disabled) {
    if (isDisabled(path, disabled)) {
        serr << "plugin disabled: " << path;
        statistics.setPlugin(path, std::string(contracts::snmp_status::kDisabled));
        return;
    }
    if (!isOurs(path, 1)) return;
    if (!canBeLoaded(path)) {
        swarn << "plugin refused: " << path << ": the process ends when it is loaded";
        statistics.setPlugin(path, "refused: the process ends when it is loaded");
        return;
    }
    void* object = dlopen(path.c_str(), RTLD_NOW);
    if (object == nullptr) {
        const std::string reason = dlerror();
        swarn << "failed dlopen: " << path << ":";
        swarn << reason;
        statistics.setPlugin(path, reason);
        return;
    }
    serr << "plugin loaded: " << path;
    statistics.setPlugin(path, "");
    if (isForThisVersion(object, path)) start(object, path);  // compat: 91
}

void search(const std::string& directory, const std::vector<std::string>& disabled, unsigned& folders) {
    if (directory.size() > kLongestPath) {
        serr << "Refusing to search for snmp plugins in following directory, because it's path is longer than 128 "
                "characters (recursive symlink?):";  // compat: 101
        serr << directory;
        return;
    }
    if (++folders > kMostFolders) {
        if (folders == kMostFolders + 1) serr << "plugins: more than 200 folders: search stopped at " << directory;
        return;
    }
    if (!isOurs(directory, 0)) return;
    std::set<std::string> names;  // sorted: which of two plug-ins replaces an object of the other mustn't vary
    std::error_code fault;
    std::filesystem::directory_iterator entry(directory, fault);
    for (; !fault && entry != std::filesystem::directory_iterator(); entry.increment(fault))
        names.insert(entry->path().filename());
    for (const std::string& name : names) {
        if (name.starts_with('.')) continue;
        const std::string path = directory + "/" + name;
        struct stat file {};
        if (stat(path.c_str(), &file) != 0) return;  // compat: 92
        if (S_ISDIR(file.st_mode)) {
            search(path, disabled, folders);
        } else if (S_ISREG(file.st_mode) && name.size() > kSuffix.size() && name.ends_with(kSuffix)) {
            load(path, disabled);
        }
    }
}

}  // namespace

void loadPlugins(const std::string& directory, const std::vector<std::string>& disabled) {
    unsigned folders = 0;
    search(directory, disabled, folders);
}

bool isDisabled(const std::string& file, const std::vector<std::string>& disabled) {
    return std::ranges::find(disabled, std::filesystem::path(file).stem().string()) != disabled.end();
}

}  // namespace snmp
