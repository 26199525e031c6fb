#pragma once

#include <optional>
#include <string>
#include <vector>

#include "hostd/sensors/sensor_choice.h"

namespace hostd {

/// A sensor in SYSFS/class. libsensors doesn't report these: it knows hwmon chips only.
struct ClassSensor {
    Sensor sensor;
    std::string file;  ///< path of the file with its value
    double unit = 1;   ///< factor from that value to volts or degrees Celsius
};

/// Lists the sensors in SYSFS/class without querying their drivers:
///
///     chip                feature             label
///     thermal_zoneN       temp                type of the zone: "x86_pkg_temp"
///     power_supply-NAME   voltage_now         "input" for the mains, else the type: "Battery"
///     power_supply-NAME   temp, temp_ambient  the feature's name
///
/// Supplies of single devices (a mouse's battery) are left out. Zones that also have a hwmon chip are included: callers
/// prefer the sensors of libsensors. Empty when there are none; nothing is logged.
/// @param sysfs  path of the kernel's device tree ("/sys")
[[nodiscard]] std::vector<ClassSensor> findClassSensors(const std::string& sysfs);

/// The sensor's value in volts or degrees Celsius. Nothing when the driver reports no number, or an impossible
/// temperature. Queries the driver, so it can block.
[[nodiscard]] std::optional<double> readClassSensor(const ClassSensor& sensor);

}  // namespace hostd
