#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <vector>

#include "tn/message.h"

namespace tnctl {

/// The path of a handler on the bus; the first element is its process's number.
using Path = std::vector<uint32_t>;

/// Sends requests through the process's looper and waits for the replies. Every operation throws Failure (kFailed) with
/// the text of an error reply, including those for timeouts and absent owners.
class Client {
  public:
    /// @param timeout  of each exchange
    explicit Client(std::chrono::milliseconds timeout) : timeout_(timeout) {}

    /// Sends a request that has a command and a destination.
    [[nodiscard]] tn::message exchange(const tn::message& request) const;
    /// Sends a command with these fields to a path. @return the reply
    tn::message ask(std::span<const uint32_t> path, uint32_t command, tn::message fields = {}) const;
    /// The items of a get-all, from all pages and in the owner's order. Also throws Failure for an empty page that
    /// announces more items.
    [[nodiscard]] std::vector<tn::message> list(std::span<const uint32_t> path) const;

  private:
    std::chrono::milliseconds timeout_;
};

}  // namespace tnctl
