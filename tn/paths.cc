#include "tn/paths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <system_error>

namespace tn {

namespace {

constexpr unsigned kFolderMode = 0755;

/// Absolute and without a slash at the end, so that a later chdir changes nothing.
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

bool refuse(const std::string& folder, const std::string& reason, std::string& why) {
    why = "root refused: " + folder + ": " + reason;
    return false;
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

bool isRootSafe(std::string& why) {
    if (struct stat status{}; stat(root().c_str(), &status) == 0) {
        const bool open = (status.st_mode & S_IWOTH) != 0 && (status.st_mode & S_ISVTX) == 0;
        if (open) return refuse(root(), "everyone may write it", why);
    }
    for (const char* each : {"/tern", "/tern/store", "/tern/run", "/tern/run/bus"}) {
        const std::string folder = rooted(each);
        for (const int flags : {AT_SYMLINK_NOFOLLOW, 0}) {
            struct stat status {};
            if (fstatat(AT_FDCWD, folder.c_str(), &status, flags) != 0) break;  // created by us when needed
            if (status.st_uid != 0 && status.st_uid != geteuid()) {
                return refuse(folder, "belongs to user " + std::to_string(status.st_uid), why);
            }
            const bool open = !S_ISLNK(status.st_mode) && (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
            if (open) return refuse(folder, "others than its owner may write it", why);
        }
    }
    return true;
}

}  // namespace tn
