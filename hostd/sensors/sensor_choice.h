#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>

namespace hostd {

/// The measures of a machine's health. One sensor is chosen for each.
enum Measure : size_t { kVoltage, kBoardTemperature, kCpuTemperature, kMeasures };

/// A sensor of voltage or temperature.
struct Sensor {
    std::string chip;        ///< as sensors(1) prints it: "coretemp-isa-0000"; else as in class_sensors.h
    std::string feature;     ///< name of the feature: "temp1", "in0"
    std::string label;       ///< "Package id 0"; the feature's name when it has no label
    bool isVoltage = false;  ///< false: it measures a temperature
};

/// The administrator's choice for each measure: CHIP/FEATURE, "none" for no sensor, or empty for the default rules of
/// chooseSensor(). CHIP is a chip's name or a pattern of it (glob(7)). FEATURE is the name or label of a feature.
using SensorChoice = std::array<std::string, kMeasures>;

/// Checks the form of a choice other than the empty one. @return empty if it is valid, otherwise the reason, as a line
/// for people
[[nodiscard]] std::string checkChoice(const std::string& choice);

/// The sensor to read for a measure, by the administrator's choice. Without a choice, the first of these that exists:
/// - voltage: one labelled as the main supply (12 V, 24 V, 48 V, input, 5 V, in this order), then the battery's;
/// - board temperature: one labelled board, system, ambient or inlet, then the firmware's thermal zone, then that of a
///   typical board temperature chip, then that of a PMBus power supply;
/// - processor temperature: that of the processor's package, then another one of the processor, then a thermal zone of
///   the processor or a sensor labelled CPU.
/// Of several that match equally well, the first one in `sensors` is chosen.
/// @return an element of `sensors`; nullptr when none matches
[[nodiscard]] const Sensor* chooseSensor(std::span<const Sensor> sensors, Measure measure, const std::string& choice);

}  // namespace hostd
