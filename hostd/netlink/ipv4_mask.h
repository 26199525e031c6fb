#pragma once

#include <cstdint>

namespace hostd {

/// The network mask of an IPv4 prefix, in host byte order: 0xffffff00 for 24.
/// @param length  of the prefix in bits, 0 to 32; callers check it
[[nodiscard]] constexpr uint32_t maskOf(unsigned length) { return length == 0 ? 0 : UINT32_MAX << (32 - length); }

}  // namespace hostd
