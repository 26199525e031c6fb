#pragma once

#include <array>
#include <optional>
#include <string>

#include "hostd/sensor_choice.h"

namespace hostd {

/// Volts and degrees Celsius; what can't be had is absent.
struct SensorReading {
    std::array<std::optional<double>, kMeasures> values;
    std::string problem;  ///< which measures are absent, unless that was chosen; empty when none is
    std::optional<bool> isFed = std::nullopt;  ///< one of the power supplies whose input is measured has power there
};

/// Reads the sensors: those of libsensors, under the names of sensors.conf(5), then those of SYSFS/class that it
/// doesn't know (class_sensors.h). libsensors reads the kernel's own /sys only, so another tree has only the latter. Of
/// all sensors only those chosen, and the inputs of power supplies, are read: others may be slow, or wake a sleeping
/// disk. Drivers are queried, so it can block. The library has one state: only one thread may be here at a time.
[[nodiscard]] SensorReading readSensors(const std::string& sysfs, const SensorChoice& choice);

}  // namespace hostd
