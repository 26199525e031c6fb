#include "tn/paths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
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

std::string& current() {
    static std::string root = [] {
        const char* fromEnvironment = std::getenv("TERN_ROOT");
        return normalised(fromEnvironment == nullptr ? "" : fromEnvironment);
    }();
    return root;
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

void setRoot(std::string_view root) { current() = normalised(root); }

const std::string& root() { return current(); }

std::string rooted(std::string_view path) { return root() == "/" ? std::string(path) : root() + std::string(path); }

std::string busFolder() { return rooted("/tern/run/bus"); }

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
    for (const char* each : {"/tern", "/tern/store", "/tern/run", "/tern/run/bus"}) {
        if (!exposed) exposed = exposedPart(rooted(each), 0);
    }
    if (exposed) why = "root refused: " + exposed.part + ": " + exposed.reason;
    return !exposed;
}

}  // namespace tn
