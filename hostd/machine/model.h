#pragma once

#include <string>

namespace hostd {

/// The machine's name from its firmware (SYSFS/class/dmi/id): the product name; if that is missing or a filler ("To be
/// filled by O.E.M."), the vendor and name of the main board. Without either, the device tree's model
/// (PROC/device-tree/model). Empty when none of them is there.
/// @param sysfs  path of the kernel's device tree ("/sys")
/// @param proc   path of the kernel's process tree ("/proc")
[[nodiscard]] std::string readModel(const std::string& sysfs, const std::string& proc);

}  // namespace hostd
