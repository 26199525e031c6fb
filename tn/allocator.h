#pragma once

#include <cstdint>
#include <set>

namespace tn {

/// Allocates the ids of a map's objects.
class Allocator {
  public:
    /// Allocates the lowest free id. Never kNoId.
    uint32_t allocate();
    /// Allocates this id. False if it is in use, or kNoId.
    bool allocate(uint32_t id);
    /// Makes an id available again.
    void free(uint32_t id);
    [[nodiscard]] bool isAllocated(uint32_t id) const { return allocated_.contains(id); }

  private:
    std::set<uint32_t> allocated_;
};

}  // namespace tn
