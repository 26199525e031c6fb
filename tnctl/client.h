#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "tn/message.h"

namespace tnctl {

using Path = std::vector<uint32_t>;

/// Sends requests through the process's looper. Every operation ends the command (Failure, exit code 1) with the
/// reply's own text when the answer is an error.
class Client {
  public:
    explicit Client(std::chrono::milliseconds timeout) : timeout_(timeout) {}

    /// Sends a request whose command and destination are set, as it is.
    [[nodiscard]] tn::message exchange(const tn::message& request) const;
    /// Puts path and command into the fields and sends them.
    tn::message ask(const Path& path, uint32_t command, tn::message fields = {}) const;
    /// All items of a get-all, however many pages they come in.
    [[nodiscard]] std::vector<tn::message> list(const Path& path) const;

  private:
    std::chrono::milliseconds timeout_;
};

}  // namespace tnctl
