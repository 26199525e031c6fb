#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace hostd {

/// Counts the processors of a kernel list ("0-3,6"), as in /sys/devices/system/cpu/online; nothing when it isn't one.
[[nodiscard]] std::optional<uint32_t> countProcessors(std::string_view list);

}  // namespace hostd
