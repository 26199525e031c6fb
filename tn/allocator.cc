#include "tn/allocator.h"

#include "tn/fields.h"

namespace tn {

uint32_t Allocator::allocate() {
    // The set is ascending, so the first id that isn't its own position is behind a gap.
    uint32_t lowest = 0;
    for (const uint32_t id : allocated_) {
        if (id != lowest) break;
        ++lowest;
    }
    allocated_.insert(lowest);
    return lowest;
}

bool Allocator::allocate(uint32_t id) { return id != kNoId && allocated_.insert(id).second; }

void Allocator::free(uint32_t id) { allocated_.erase(id); }

}  // namespace tn
