#pragma once

#include <cstdint>

namespace hostd {

/// The mask of an IPv4 prefix in host byte order.
/// @param length  bits, 0 to 32
[[nodiscard]] constexpr uint32_t maskOf(unsigned length) { return length == 0 ? 0 : UINT32_MAX << (32 - length); }

}  // namespace hostd
