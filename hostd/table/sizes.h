#pragma once

#include <algorithm>
#include <cstdint>

#include "tn/message.h"

namespace hostd {

/// The low 32 bits, of a counter that wraps.
[[nodiscard]] inline uint32_t low(uint64_t value) { return static_cast<uint32_t>(value); }

/// The value, or 2^32 - 1 if it is larger.
[[nodiscard]] inline uint32_t saturated(uint64_t value) {
    return static_cast<uint32_t>(std::min<uint64_t>(value, UINT32_MAX));
}

/// Puts a size and its free part, both in KiB, into a message. The size saturates at 32 bits; the free part is then
/// reduced so that their difference is still the used part, as far as that fits.
inline void insertSizes(tn::message& m, tn::u32_id totalField, uint64_t total, tn::u32_id freeField, uint64_t free) {
    m.insert_u32(totalField, saturated(total));
    m.insert_u32(freeField, saturated(total) - saturated(total - free));
}

}  // namespace hostd
