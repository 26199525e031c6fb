#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace hostd {

/// Main memory in KiB. A value that the kernel doesn't report is absent.
struct Memory {
    std::optional<uint64_t> total;
    std::optional<uint64_t> available;  ///< what programs can still allocate without swapping

    friend bool operator==(const Memory&, const Memory&) = default;
};

/// The value of a line in the text of /proc/meminfo (proc(5)), in KiB. Nothing when the line is missing or isn't a
/// number of kB.
/// @param name  with its colon: "MemTotal:"
[[nodiscard]] std::optional<uint64_t> meminfoValue(std::string_view text, std::string_view name);

/// Parses MemTotal and MemAvailable in the text of /proc/meminfo (proc(5)). A value is absent when its line is missing
/// or isn't a number of kB. `available` is also absent when it exceeds the total.
[[nodiscard]] Memory parseMeminfo(std::string_view text);

}  // namespace hostd
