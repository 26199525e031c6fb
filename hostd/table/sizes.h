#pragma once

#include <algorithm>
#include <cstdint>

#include "tn/message.h"

namespace hostd {

[[nodiscard]] inline uint32_t saturated(uint64_t value) {
    return static_cast<uint32_t>(std::min<uint64_t>(value, UINT32_MAX));
}

/// Puts a size and what is free of it, in KiB, into a message. Past 32 bits both stop, so that their difference is what
/// is used as far as that fits.
inline void insertSizes(tn::message& m, tn::u32_id totalField, uint64_t total, tn::u32_id freeField, uint64_t free) {
    m.insert_u32(totalField, saturated(total));
    m.insert_u32(freeField, saturated(total) - saturated(total - free));
}

}  // namespace hostd
