#include "tn/allocator.h"

#include "tn/fields.h"

namespace tn {

uint32_t Allocator::allocate() {
    // The set is ascending, so the first id that isn't its own position is behind a gap.
    uint32_t lowest = 0;
    for (const uint32_t id : taken_) {
        if (id != lowest) break;
        ++lowest;
    }
    taken_.insert(lowest);
    return lowest;
}

bool Allocator::allocate(uint32_t id) { return id != kNoId && taken_.insert(id).second; }

void Allocator::free(uint32_t id) { taken_.erase(id); }

}  // namespace tn
