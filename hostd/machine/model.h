#pragma once

#include <string>

namespace hostd {

/// The machine's name from its firmware (SYSFS/class/dmi/id): the product name; if that is missing or a filler ("To be
/// filled by O.E.M."), the vendor and name of the main board. Without either, the device tree's model
/// (PROC/device-tree/model). Empty when nothing names it.
[[nodiscard]] std::string readModel(const std::string& sysfs, const std::string& proc);

}  // namespace hostd
