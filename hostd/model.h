#pragma once

#include <string>

namespace hostd {

/// What the maker calls the machine, from its firmware (SYSFS/class/dmi/id): the product's name; where the maker left
/// that out or left a filler there ("To be filled by O.E.M."), the vendor and name of the main board. A board without
/// such firmware has a device tree (PROC/device-tree/model). Empty when nothing names it.
[[nodiscard]] std::string readModel(const std::string& sysfs, const std::string& proc);

}  // namespace hostd
