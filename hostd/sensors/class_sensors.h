#pragma once

#include <optional>
#include <string>
#include <vector>

#include "hostd/sensors/sensor_choice.h"

namespace hostd {

/// A sensor in SYSFS/class; libsensors knows hwmon chips only.
struct ClassSensor {
    Sensor sensor;
    std::string file;  ///< path of its value
    double unit = 1;   ///< volts or degrees Celsius per unit of the file's number
};

/// Lists the sensors in SYSFS/class without querying their drivers:
///
///     chip                feature             label
///     thermal_zoneN       temp                type of the zone: "x86_pkg_temp"
///     power_supply-NAME   voltage_now         "input" for the mains, else the type: "Battery"
///     power_supply-NAME   temp, temp_ambient  the feature's name
///
/// Supplies of single devices (a mouse's battery) are omitted. Zones with a hwmon chip are included: libsensors'
/// sensors come before these.
[[nodiscard]] std::vector<ClassSensor> findClassSensors(const std::string& sysfs);

/// Volts or degrees Celsius; nothing when the driver reports no value, or an impossible one. Queries the driver, so it
/// can block.
[[nodiscard]] std::optional<double> readClassSensor(const ClassSensor& sensor);

}  // namespace hostd
