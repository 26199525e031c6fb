#pragma once

#include <cstdint>

namespace hostd {

/// The mask of an IPv4 prefix of this length, 0 to 32; its first octet is the most significant one.
[[nodiscard]] constexpr uint32_t maskOf(unsigned length) { return length == 0 ? 0 : UINT32_MAX << (32 - length); }

}  // namespace hostd
