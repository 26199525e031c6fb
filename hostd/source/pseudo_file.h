#pragma once

#include <string>
#include <string_view>

namespace hostd {

/// A file of /proc or /sys that is read repeatedly. It is opened once and read from its start each time, which makes
/// the kernel write it anew. After a failure it is opened again by the next read.
class PseudoFile {
  public:
    /// Doesn't open the file yet.
    explicit PseudoFile(std::string path) : path_(std::move(path)) {}
    ~PseudoFile() { close(); }
    PseudoFile(const PseudoFile&) = delete;
    PseudoFile& operator=(const PseudoFile&) = delete;

    /// The whole content, valid until the next read. Empty when the file doesn't exist or can't be read.
    [[nodiscard]] std::string_view read();

  private:
    void close();

    std::string path_;
    std::string buffer_;
    int fd_ = -1;
};

/// The whole content of a file that is read rarely. Empty when it can't be opened; cut off where reading fails.
[[nodiscard]] std::string readFile(const std::string& path);

}  // namespace hostd
