#include "tn/paths.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace tn {

namespace {

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

}  // namespace

void setRoot(std::string_view root) { current() = normalised(root); }

const std::string& root() { return current(); }

std::string rooted(std::string_view path) { return root() == "/" ? std::string(path) : root() + std::string(path); }

std::string busFolder() { return rooted("/tern/run/bus"); }

bool makeFolder(const std::string& path, unsigned mode) {
    const std::string folder = normalised(path);
    std::error_code failure;
    std::filesystem::create_directories(std::filesystem::path(folder).parent_path(), failure);
    if (failure) {
        errno = failure.value();
        return false;
    }
    // chmod, because the umask takes bits away from mkdir's mode.
    if (mkdir(folder.c_str(), 0700) == 0) return chmod(folder.c_str(), mode) == 0;
    if (errno != EEXIST) return false;
    if (std::filesystem::is_directory(folder, failure)) return true;
    errno = failure ? failure.value() : ENOTDIR;
    return false;
}

}  // namespace tn
