#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace hostd {

/// Number of processors in a kernel list ("0-3,6"), as in /sys/devices/system/cpu/online; nothing when the text isn't
/// such a list.
[[nodiscard]] std::optional<uint32_t> countProcessors(std::string_view list);

}  // namespace hostd
