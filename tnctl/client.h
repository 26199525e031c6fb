#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <vector>

#include "tn/message.h"

namespace tnctl {

/// Of a handler on the bus: the number of its process, then its own.
using Path = std::vector<uint32_t>;

/// Sends requests through the process's looper and waits for the replies. Every operation throws Failure (exit code 1)
/// with the text of an error reply, timeouts and paths without an owner included.
class Client {
  public:
    /// @param timeout  for one exchange
    explicit Client(std::chrono::milliseconds timeout) : timeout_(timeout) {}

    /// Sends a request that already has its command and destination.
    [[nodiscard]] tn::message exchange(const tn::message& request) const;
    /// Sends `command` with these fields to a path.
    tn::message ask(std::span<const uint32_t> path, uint32_t command, tn::message fields = {}) const;
    /// The items of all pages of a get-all, in the owner's order.
    [[nodiscard]] std::vector<tn::message> list(std::span<const uint32_t> path) const;

  private:
    std::chrono::milliseconds timeout_;
};

}  // namespace tnctl
