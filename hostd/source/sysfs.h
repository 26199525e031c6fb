#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hostd {

/// Reads a device's attribute, a file in /sys (sysfs(5)). Returns its first line without the newline. Empty when the
/// file doesn't exist or can't be read. The device's driver supplies the value and can block: for helper threads only.
[[nodiscard]] std::string readAttribute(const std::string& path);

/// Reads an attribute that is an unsigned number. Can block, as readAttribute does. Nothing when the file can't be
/// read, or its first line isn't a number of at most 32 bits.
/// @param base  10 or 16; with 16, a leading 0x is optional
[[nodiscard]] std::optional<uint32_t> readNumber(const std::string& path, int base);

/// The names of a folder's entries, without their path, sorted octet by octet. Empty when the folder doesn't exist. If
/// reading the folder fails midway, the names read until then are returned.
[[nodiscard]] std::vector<std::string> namesIn(const std::string& folder);

}  // namespace hostd
