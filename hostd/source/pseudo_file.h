#pragma once

#include <string>
#include <string_view>

namespace hostd {

/// A file of /proc or /sys that is read repeatedly. The first read opens it; it stays open from then on. Each read
/// starts at the beginning, which makes the kernel generate the content anew. A failed read closes the file, and the
/// next one opens it again.
class PseudoFile {
  public:
    /// Opens nothing yet: the first read() does.
    explicit PseudoFile(std::string path) : path_(std::move(path)) {}
    ~PseudoFile() { close(); }
    PseudoFile(const PseudoFile&) = delete;
    PseudoFile& operator=(const PseudoFile&) = delete;

    /// The whole content, whatever its size. Empty when the file doesn't exist or can't be read; nothing is logged. The
    /// view refers to this object's buffer, and is valid until the next read.
    [[nodiscard]] std::string_view read();

  private:
    void close();

    std::string path_;
    std::string buffer_;
    int fd_ = -1;  ///< -1 while the file isn't open
};

/// The whole content of a file that is read rarely, such as a file of a single process. Empty when the file can't be
/// opened. If reading fails midway, the content read until then is returned. Nothing is logged.
[[nodiscard]] std::string readFile(const std::string& path);

}  // namespace hostd
