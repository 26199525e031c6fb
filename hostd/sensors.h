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
};

/// Reads the sensors through libsensors, that is, from the kernel's own /sys, under the names of sensors.conf(5). Of
/// all sensors only those chosen are read: others may be slow, or wake a sleeping disk. Drivers are asked, so it can
/// block. The library has one state: only one thread may be here at a time.
[[nodiscard]] SensorReading readSensors(const SensorChoice& choice);

}  // namespace hostd
