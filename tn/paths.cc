#include "tn/paths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <system_error>

namespace tn {

namespace {

constexpr unsigned kFolderMode = 0755;

/// The absolute path of a folder, so that a later chdir has no effect, without a slash at the end.
std::string normalised(std::string_view folder) {
    if (folder.empty()) return "/";
    std::error_code ignored;
    std::string path = std::filesystem::absolute(folder, ignored).lexically_normal().string();
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path.empty() ? "/" : path;
}

struct Root {
    std::string folder = "/";
    bool isGiven = false;  ///< by --root or TERN_ROOT
};

Root& current() {
    static Root root = [] {
        const char* fromEnvironment = std::getenv("TERN_ROOT");
        if (fromEnvironment == nullptr || *fromEnvironment == '\0') return Root{};
        return Root{normalised(fromEnvironment), true};
    }();
    return root;
}

/// A folder of platform paths, and where it is if no root is given. CMakeLists.txt sets the latter.
struct Place {
    std::string_view folder;
    std::string_view installed;
};

constexpr Place kPlaces[] = {
    {"/tern/store", TARNIX_STORE_DIR},
    {"/tern/run/bus", TARNIX_BUS_DIR},
    {"/tern/scripts", TARNIX_SCRIPTS_DIR},
};

std::string installed(std::string_view path) {
    for (const Place& place : kPlaces) {
        if (!path.starts_with(place.folder)) continue;
        const std::string_view rest = path.substr(place.folder.size());
        if (rest.empty() || rest.front() == '/') return std::string(place.installed) + std::string(rest);
    }
    return std::string(path);
}

bool makeOne(const std::string& folder, unsigned mode) {
    if (mkdir(folder.c_str(), 0700) != 0) {
        if (errno != EEXIST) return false;
        std::error_code failure;
        if (std::filesystem::is_directory(folder, failure)) return true;
        errno = failure ? failure.value() : ENOTDIR;
        return false;
    }
    // The umask clears bits of mkdir's mode. By descriptor: the name could refer to something else by now.
    const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return false;
    const bool done = fchmod(fd, mode) == 0;
    const int reason = errno;
    close(fd);
    errno = reason;
    return done;
}

/// Why users other than root and this process's can change or replace a file or folder; empty if they can't.
/// @param mayBeSticky  accept a sticky folder, in which others can replace only their own files
std::string whyExposed(const struct stat& status, bool mayBeSticky) {
    if (status.st_uid != 0 && status.st_uid != geteuid()) return "belongs to user " + std::to_string(status.st_uid);
    if (S_ISLNK(status.st_mode) || (status.st_mode & (S_IWGRP | S_IWOTH)) == 0) return {};
    if (mayBeSticky && (status.st_mode & S_ISVTX) != 0) return {};
    return "writable by users other than its owner";
}

Exposure exposedRoot() {
    struct stat status {};
    if (stat(root().c_str(), &status) != 0) return {};  // made by us when it is needed
    if (status.st_uid == geteuid() && status.st_gid == getegid()) status.st_mode &= ~static_cast<mode_t>(S_IWGRP);
    const std::string reason = whyExposed(status, true);
    return reason.empty() ? Exposure{} : Exposure{root(), reason};
}

}  // namespace

void setRoot(std::string_view root) { current() = {normalised(root), true}; }

const std::string& root() { return current().folder; }

std::string rooted(std::string_view path) {
    if (!current().isGiven) return installed(path);
    return root() == "/" ? std::string(path) : root() + std::string(path);
}

std::string busFolder() { return rooted("/tern/run/bus"); }

std::vector<std::string> pluginFolders() {
    if (current().isGiven) return {rooted("/tern/lib/snmp")};
    std::vector<std::string> folders;
    std::istringstream listed(TARNIX_PLUGIN_PATH);
    for (std::string folder; std::getline(listed, folder, ':');) folders.push_back(folder);
    return folders;
}

bool makeFolder(const std::string& path, unsigned mode) {
    const std::filesystem::path below = std::filesystem::path(normalised(path)).lexically_relative(root());
    std::filesystem::path folder = root();
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (failure) {
        errno = failure.value();
        return false;
    }
    for (auto part = below.begin(); part != below.end(); ++part) {
        folder /= *part;
        if (!makeOne(folder.string(), std::next(part) == below.end() ? mode : kFolderMode)) return false;
    }
    return true;
}

Exposure exposedPart(const std::string& path, size_t foldersAbove) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) return {};
        return {path, std::strerror(errno)};
    }
    if (const std::string reason = whyExposed(status, false); !reason.empty()) return {path, reason};
    std::error_code failed;
    const std::filesystem::path real = std::filesystem::canonical(path, failed);
    if (failed) return failed == std::errc::no_such_file_or_directory ? Exposure{} : Exposure{path, failed.message()};
    for (std::filesystem::path part = real;; part = part.parent_path()) {
        if (lstat(part.c_str(), &status) != 0) return {part, std::strerror(errno)};
        if (const std::string reason = whyExposed(status, part != real); !reason.empty()) return {part, reason};
        if (part == part.root_path() || foldersAbove-- == 0) return {};
    }
}

bool isRootSafe(std::string& why) {
    Exposure exposed = exposedRoot();
    for (const std::filesystem::path folder : {rooted("/tern/store"), busFolder()}) {
        for (const std::string& part : {folder.parent_path().string(), folder.string()}) {
            if (!exposed) exposed = exposedPart(part, current().isGiven ? 0 : kToTheTop);
        }
    }
    if (exposed) why = "root refused: " + exposed.part + ": " + exposed.reason;
    return !exposed;
}

}  // namespace tn
