#pragma once

#include <array>
#include <optional>
#include <string>

#include "hostd/sensors/sensor_choice.h"

namespace hostd {

/// Volts and degrees Celsius; what can't be read is absent.
struct SensorReading {
    std::array<std::optional<double>, kMeasures> values;
    std::string problem;  ///< names the measures that are absent and not chosen to be; empty when there is none
    std::optional<bool> isFed =
        std::nullopt;  ///< whether a power supply's measured input has power; absent when none is measured
};

/// Reads the sensors: those of libsensors, under the names of sensors.conf(5), then those of SYSFS/class that it
/// doesn't know (class_sensors.h). libsensors reads the kernel's own /sys only, so another tree has only the latter.
/// Reads only the chosen sensors and the inputs of power supplies: others may be slow, or wake a sleeping disk. Queries
/// drivers, so it can block. The library has global state: call this from one thread at a time.
[[nodiscard]] SensorReading readSensors(const std::string& sysfs, const SensorChoice& choice);

}  // namespace hostd
