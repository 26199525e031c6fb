#pragma once

#include <cstdint>
#include <set>

namespace tn {

/// The ids of a map's objects that are in use.
class Allocator {
  public:
    /// Allocates the lowest free id. Never kNoId.
    uint32_t allocate();
    /// Allocates this id. False when it is in use already, or kNoId.
    bool allocate(uint32_t id);
    void free(uint32_t id);
    [[nodiscard]] bool isAllocated(uint32_t id) const { return allocated_.contains(id); }

  private:
    std::set<uint32_t> allocated_;
};

}  // namespace tn
