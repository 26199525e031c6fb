#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>

namespace hostd {

/// What the health of a machine is told by.
enum Measure : size_t { kVoltage, kBoardTemperature, kCpuTemperature, kMeasures };

/// A sensor of voltage or temperature.
struct Sensor {
    std::string chip;     ///< as sensors(1) prints it: "coretemp-isa-0000"; or a folder, see class_sensors.h
    std::string feature;  ///< "temp1", "in0"
    std::string label;    ///< "Package id 0"; the feature's name again when it has none
    bool isVoltage = false;
};

/// The administrator's choice for each measure, as CHIP/FEATURE: a chip's name or a pattern of it (glob(7)), and the
/// name or label of one of its features. "none" for no sensor; empty: by label and chip.
using SensorChoice = std::array<std::string, kMeasures>;

/// Why this is no choice; empty when it is one.
[[nodiscard]] std::string checkChoice(const std::string& choice);

/// The sensor that a measure is taken from, by the choice, or by default:
/// - voltage: the one labelled as the main supply: 12 V, 24 V, 48 V, input, 5 V, in this order, then the battery's;
/// - board's temperature: one labelled board, system, ambient or inlet, then the firmware's thermal zone, then a
///   typical board temperature chip, then that of a PMBus power supply;
/// - processor's temperature: the processor's own sensor, that of the whole package first, then its thermal zone or a
///   sensor labelled CPU.
/// Among equals the first. nullptr when none is known to measure it.
[[nodiscard]] const Sensor* chooseSensor(std::span<const Sensor> sensors, Measure measure, const std::string& choice);

}  // namespace hostd
