#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hostd {

/// Reads an attribute of a device from the kernel's tree (/sys): one line, without its end. Empty when there is none or
/// it can't be read. The driver answers, so this can block: for helper threads only.
[[nodiscard]] std::string readAttribute(const std::string& path);

/// Reads an attribute that is a number. Nothing when it isn't one, doesn't fit, or can't be read.
/// @param base  10, or 16 with or without a leading 0x
[[nodiscard]] std::optional<uint32_t> readNumber(const std::string& path, int base);

/// The names in a folder, in order. Empty when the folder doesn't exist; incomplete when reading it fails.
[[nodiscard]] std::vector<std::string> namesIn(const std::string& folder);

}  // namespace hostd
