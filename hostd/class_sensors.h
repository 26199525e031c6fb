#pragma once

#include <optional>
#include <string>
#include <vector>

#include "hostd/sensor_choice.h"

namespace hostd {

/// A sensor that has no hwmon chip, and so is unknown to libsensors.
struct ClassSensor {
    Sensor sensor;
    std::string file;
    double unit = 1;  ///< of the number in the file, in volts or degrees Celsius
};

/// Those in SYSFS/class, without querying their drivers:
///
///     chip                feature             label
///     thermal_zoneN       temp                type of the zone: "x86_pkg_temp"
///     power_supply-NAME   voltage_now         "input" for the mains, else the type: "Battery"
///     power_supply-NAME   temp, temp_ambient  the feature's name
///
/// Supplies of single devices (mice and the like) are left out. Zones with a hwmon chip are listed, too: libsensors'
/// sensors precede these.
[[nodiscard]] std::vector<ClassSensor> findClassSensors(const std::string& sysfs);

/// Volts or degrees Celsius; nothing when the driver has no value. It is queried, so this can block.
[[nodiscard]] std::optional<double> readClassSensor(const ClassSensor& sensor);

}  // namespace hostd
