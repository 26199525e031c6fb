#include "agent/core/plugins.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string_view>
#include <thread>
#include <utility>

#include "agent/log.h"
#include "agent/mib/branch.h"
#include "agent/status/statistics.h"
#include "agent/traps/trap_generators.h"
#include "contracts/snmp_status.h"
#include "tn/log.h"
#include "tn/paths.h"
#include "tn/sources.h"

namespace snmp {

namespace {

constexpr size_t kLongestPath = 128;    // octets
constexpr unsigned kMostFolders = 200;  // a folder with two symlinks to itself would have 2^60 paths
constexpr int kSurvived = 77;           // exit status
constexpr std::chrono::seconds kTrialTime{10};
constexpr std::chrono::milliseconds kPollInterval{1};
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

void load(const std::string& path) {
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

/// The child process of a trial: loads the plug-in without owners and without the agent's files, sockets and output.
/// These descriptors refer to /dev/null then, so that the plug-in's own don't get their numbers.
[[noreturn]] void tryToLoad(const std::string& path, const std::function<void()>& before) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    alarm(static_cast<unsigned>(kTrialTime.count()));
    tn::setLogTarget(tn::LogTarget::None);
    std::vector<int> descriptors;
    std::error_code fault;
    for (std::filesystem::directory_iterator entry("/proc/self/fd", fault), end; !fault && entry != end;
         entry.increment(fault))
        descriptors.push_back(std::atoi(entry->path().filename().c_str()));
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int descriptor : descriptors) dup2(nothing, descriptor);
    tn::setRoot("/dev/null");  // no owner's socket is there
    try {
        if (before) before();
        load(path);
    } catch (...) {  // a constructor's exception may pass dlopen, and must not reach the agent's code in this process
        _exit(EXIT_FAILURE);
    }
    _exit(kSurvived);
}

/// A plug-in that a child process loads first, because a crash or an endless loop can't be caught.
struct Trial {
    std::string path;
    pid_t child;            ///< -1: none could be created; the plug-in is loaded without a trial
    size_t generators = 0;  ///< in `scribers` when the plug-in was late
};

std::vector<Trial> trials;  // that aren't over, in the order of loading

/// Loads the plug-in, or refuses it, if its trial is over. @return false if it isn't
bool finish(const Trial& trial) {
    int status = 0;
    const pid_t ended = trial.child < 0 ? 0 : waitpid(trial.child, &status, WNOHANG);
    if (trial.child >= 0 && (ended == 0 || (ended < 0 && errno == EINTR))) return false;
    if (trial.child < 0 || (WIFEXITED(status) && WEXITSTATUS(status) == kSurvived)) {
        load(trial.path);
        return true;
    }
    const bool isHung = WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM;
    const std::string reason = isHung ? "it isn't loaded within 10 s" : "the process ends when it is loaded";
    swarn << "plugin refused: " << trial.path << ": " << reason;
    statistics.setPlugin(trial.path, "refused: " + reason);
    return true;
}

/// Begins the trial of a plug-in that may be loaded.
void consider(const std::string& path, const std::vector<std::string>& disabled, const std::function<void()>& before) {
    if (isDisabled(path, disabled)) {
        serr << "plugin disabled: " << path;
        statistics.setPlugin(path, std::string(contracts::snmp_status::kDisabled));
        return;
    }
    if (!isOurs(path, 1)) return;
    statistics.setPlugin(path, "being tested");  // keeps its place in the list
    const pid_t child = fork();
    if (child == 0) tryToLoad(path, before);
    trials.push_back({path, child});
}

void search(const std::string& directory, const std::vector<std::string>& disabled, const std::function<void()>& before,
            unsigned& folders) {
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
            search(path, disabled, before, folders);
        } else if (S_ISREG(file.st_mode) && name.size() > kSuffix.size() && name.ends_with(kSuffix)) {
            consider(path, disabled, before);
        }
    }
}

}  // namespace

void tryPlugins(const std::string& directory, const std::vector<std::string>& disabled,
                const std::function<void()>& before) {
    unsigned folders = 0;
    search(directory, disabled, before, folders);
}

void loadPlugins(std::chrono::milliseconds until) {
    std::vector<Trial> late;
    for (Trial& trial : trials) {
        bool isOver = finish(trial);
        while (!isOver && tn::sinceBoot() < until) {
            std::this_thread::sleep_for(kPollInterval);
            isOver = finish(trial);
        }
        if (isOver) continue;
        swarn << "plugin late: " << trial.path << ": the agent starts without it";
        trial.generators = scribers.size();
        late.push_back(std::move(trial));
    }
    trials = std::move(late);
}

bool loadLatePlugins() {
    for (size_t i = 0; i < trials.size();) {
        const size_t known = scribers.size();
        if (!finish(trials[i])) {
            ++i;
            continue;
        }
        // Settings refer to generators by their numbers, which mustn't depend on who is late.
        const auto at = [](size_t number) { return scribers.begin() + static_cast<std::ptrdiff_t>(number); };
        std::rotate(at(trials[i].generators), at(known), scribers.end());
        trials.erase(trials.begin() + static_cast<std::ptrdiff_t>(i));
        for (size_t later = i; later < trials.size(); ++later) trials[later].generators += scribers.size() - known;
    }
    return !trials.empty();
}

bool isDisabled(const std::string& file, const std::vector<std::string>& disabled) {
    return std::ranges::find(disabled, std::filesystem::path(file).stem().string()) != disabled.end();
}

}  // namespace snmp
