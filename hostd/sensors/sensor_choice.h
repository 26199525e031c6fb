#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>

namespace hostd {

/// What is measured to show the health of a machine.
enum Measure : size_t { kVoltage, kBoardTemperature, kCpuTemperature, kMeasures };

/// A sensor of voltage or temperature.
struct Sensor {
    std::string chip;     ///< as sensors(1) prints it: "coretemp-isa-0000"; or a folder, see class_sensors.h
    std::string feature;  ///< "temp1", "in0"
    std::string label;    ///< "Package id 0"; the feature's name when it has none
    bool isVoltage = false;
};

/// The administrator's choice for each measure, as CHIP/FEATURE: a chip's name or a pattern of it (glob(7)), and the
/// name or label of one of its features. "none" for no sensor; empty for the default rules of chooseSensor.
using SensorChoice = std::array<std::string, kMeasures>;

/// Why this text isn't a valid choice, as a line for people; empty when it is one.
[[nodiscard]] std::string checkChoice(const std::string& choice);

/// The sensor to read for a measure, by the choice, or by default:
/// - voltage: the one labelled as the main supply: 12 V, 24 V, 48 V, input, 5 V, in this order, then the battery's;
/// - board temperature: one labelled board, system, ambient or inlet, then the firmware's thermal zone, then a typical
///   board temperature chip, then that of a PMBus power supply;
/// - processor temperature: the processor's own sensor, that of the whole package first, then its thermal zone or a
///   sensor labelled CPU.
/// The first of several that match equally well. nullptr when none matches; else it points into `sensors`.
[[nodiscard]] const Sensor* chooseSensor(std::span<const Sensor> sensors, Measure measure, const std::string& choice);

}  // namespace hostd
