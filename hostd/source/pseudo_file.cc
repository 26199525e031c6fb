#include "hostd/source/pseudo_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace hostd {

namespace {
constexpr size_t kFirstSize = 8192;  // /proc/meminfo has about 1,500 octets
}

std::string_view PseudoFile::read() {
    if (fd_ < 0) fd_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) return {};
    if (buffer_.empty()) buffer_.resize(kFirstSize);
    for (;;) {
        const ssize_t n = ::pread(fd_, buffer_.data(), buffer_.size(), 0);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            close();
            return {};
        }
        // The kernel returns such a file in one read if the buffer is large enough: a short read has all of it.
        if (static_cast<size_t>(n) < buffer_.size()) return {buffer_.data(), static_cast<size_t>(n)};
        buffer_.resize(buffer_.size() * 2);
    }
}

void PseudoFile::close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

std::string readFile(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return {};
    std::string content;
    char piece[4096];
    for (;;) {
        const ssize_t n = ::read(fd, piece, sizeof piece);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        content.append(piece, static_cast<size_t>(n));
    }
    ::close(fd);
    return content;
}

}  // namespace hostd
