#pragma once

#include <string>

namespace hostd {

/// The machine's model, from its firmware: the first of these that is present. A placeholder in the DMI data ("To be
/// filled by O.E.M.") counts as absent.
/// - the product name (SYSFS/class/dmi/id/product_name),
/// - the vendor and name of the main board (board_vendor or else sys_vendor, and board_name),
/// - the model in the device tree (PROC/device-tree/model).
/// Empty when there is none.
/// @param sysfs  path of the kernel's device tree ("/sys")
/// @param proc   path of the kernel's process tree ("/proc")
[[nodiscard]] std::string readModel(const std::string& sysfs, const std::string& proc);

}  // namespace hostd
