#pragma once

#include <array>
#include <optional>
#include <string>

#include "hostd/sensors/sensor_choice.h"

namespace hostd {

/// One reading of the sensors.
struct SensorReading {
    std::array<std::optional<double>, kMeasures> values;  ///< volts and degrees Celsius; absent if it can't be read
    std::string problem;  ///< lists the measures without a value, except those set to "none"; else empty
    /// True if the input of at least one power supply has power. Absent when no sensor measures an input.
    std::optional<bool> isFed = std::nullopt;
};

/// Finds the sensors, chooses one for each measure (chooseSensor) and reads it. It finds those of libsensors, named and
/// labelled as sensors.conf(5) says, then those of findClassSensors(). libsensors always reads /sys, so it is left out
/// for other trees. Only the chosen sensors and the inputs of power supplies are read: others may be slow, or wake a
/// sleeping disk. Queries drivers, so it can block.
/// @param sysfs  path of the kernel's device tree ("/sys")
[[nodiscard]] SensorReading readSensors(const std::string& sysfs, const SensorChoice& choice);

}  // namespace hostd
