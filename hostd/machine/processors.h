#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace hostd {

/// The number of processors in a list of the kernel, such as "0-3,6" in /sys/devices/system/cpu/online. A newline ends
/// the list. Nothing when the text isn't such a list.
[[nodiscard]] std::optional<uint32_t> countProcessors(std::string_view list);

}  // namespace hostd
