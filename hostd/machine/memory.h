#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace hostd {

/// Main memory in KiB; what the kernel didn't report is absent.
struct Memory {
    std::optional<uint64_t> total;
    std::optional<uint64_t> available;  ///< what programs can still get without swapping

    friend bool operator==(const Memory&, const Memory&) = default;
};

/// Parses the text of /proc/meminfo (proc(5)): MemTotal and MemAvailable. A value is absent when its line is missing,
/// has no number or is impossible (more available than there is).
[[nodiscard]] Memory parseMeminfo(std::string_view text);

}  // namespace hostd
