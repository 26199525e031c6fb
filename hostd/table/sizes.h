#pragma once

#include <algorithm>
#include <cstdint>

#include "tn/message.h"

namespace hostd {

/// The low 32 bits of a counter: its value as a Counter32, which wraps.
[[nodiscard]] inline uint32_t low(uint64_t value) { return static_cast<uint32_t>(value); }

/// The value, or 2^32 - 1 if it is larger. For sizes, which must not wrap.
[[nodiscard]] inline uint32_t saturated(uint64_t value) {
    return static_cast<uint32_t>(std::min<uint64_t>(value, UINT32_MAX));
}

/// Inserts a total size and its free part into a message. The total saturates at 2^32 - 1. The free part is then
/// reduced so that total - free is still the used size, saturated at the same limit.
/// @param total  KiB
/// @param free   KiB; at most `total`
inline void insertSizes(tn::message& m, tn::u32_id totalField, uint64_t total, tn::u32_id freeField, uint64_t free) {
    m.insert_u32(totalField, saturated(total));
    m.insert_u32(freeField, saturated(total) - saturated(total - free));
}

}  // namespace hostd
