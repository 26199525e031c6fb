// Preloaded into a daemon, makes operations on the files of its stores fail as FAILING_DISK says: a file with an error
// number, and "w" if only writing fails. While it doesn't exist, nothing fails.
#include <dlfcn.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

/// Whether an operation on this descriptor is to fail; errno is set then.
bool fails(int fd, bool writes) {
    const char* const control = std::getenv("FAILING_DISK");
    FILE* const file = control == nullptr ? nullptr : std::fopen(control, "re");
    if (file == nullptr) return false;
    int error = 0;
    char kind = '\0';
    const int read = std::fscanf(file, "%d %c", &error, &kind);
    std::fclose(file);
    char path[4096] = {};
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    if (read < 1 || readlink(link.c_str(), path, sizeof path - 1) <= 0) return false;
    if (std::strstr(path, "/tern/store/") == nullptr || (kind == 'w' && !writes)) return false;
    errno = error;
    return true;
}

template <class Function>
Function* real(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

ssize_t pread(int fd, void* to, size_t size, off_t at) {
    static const auto next = real(&pread, "pread");
    return fails(fd, false) ? -1 : next(fd, to, size, at);
}

ssize_t pread64(int fd, void* to, size_t size, off64_t at) {
    static const auto next = real(&pread64, "pread64");
    return fails(fd, false) ? -1 : next(fd, to, size, at);
}

ssize_t pwrite(int fd, const void* from, size_t size, off_t at) {
    static const auto next = real(&pwrite, "pwrite");
    return fails(fd, true) ? -1 : next(fd, from, size, at);
}

ssize_t pwrite64(int fd, const void* from, size_t size, off64_t at) {
    static const auto next = real(&pwrite64, "pwrite64");
    return fails(fd, true) ? -1 : next(fd, from, size, at);
}

int fsync(int fd) {
    static const auto next = real(&fsync, "fsync");
    return fails(fd, true) ? -1 : next(fd);
}

int fdatasync(int fd) {
    static const auto next = real(&fdatasync, "fdatasync");
    return fails(fd, true) ? -1 : next(fd);
}
}
