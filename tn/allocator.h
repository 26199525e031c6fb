#pragma once

#include <cstdint>
#include <set>

namespace tn {

/// Object ids of a map: the lowest free one first, never kNoId.
class Allocator {
  public:
    uint32_t allocate();
    bool allocate(uint32_t id);  ///< false when it is taken
    void free(uint32_t id);
    [[nodiscard]] bool isAllocated(uint32_t id) const { return taken_.contains(id); }

  private:
    std::set<uint32_t> taken_;
};

}  // namespace tn
