#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hostd {

/// An attribute of a device in the kernel's tree: one line, without its end. Empty when there is none or it can't be
/// read. The driver is asked, so it can block.
[[nodiscard]] std::string readAttribute(const std::string& path);

/// An attribute that is a number, in hexadecimal with or without 0x, or in decimal. Nothing when it isn't one.
[[nodiscard]] std::optional<uint32_t> readNumber(const std::string& path, int base);

/// The names in a folder, in order; empty when it isn't there.
[[nodiscard]] std::vector<std::string> namesIn(const std::string& folder);

}  // namespace hostd
