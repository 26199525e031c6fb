#pragma once

#include <string>
#include <string_view>

namespace hostd {

/// A file of /proc or /sys that is read again and again: opened once, read whole from its start with pread, which makes
/// the kernel write it anew. Opened again after it failed.
class PseudoFile {
  public:
    explicit PseudoFile(std::string path) : path_(std::move(path)) {}
    ~PseudoFile() { close(); }
    PseudoFile(const PseudoFile&) = delete;
    PseudoFile& operator=(const PseudoFile&) = delete;

    /// The whole content, valid until the next read; empty when the file isn't there or can't be read.
    [[nodiscard]] std::string_view read();

  private:
    void close();

    std::string path_;
    std::string buffer_;
    int fd_ = -1;
};

/// The whole content of a file that is read rarely; empty when it can't be read.
[[nodiscard]] std::string readFile(const std::string& path);

}  // namespace hostd
