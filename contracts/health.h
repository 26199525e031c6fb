#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {12, 1}: the readings of the machine's sensors, and its active power supply. hostd/sensors/health.h owns them. A
/// value without a sensor is absent.
namespace contracts::health {

inline constexpr std::array<uint32_t, 2> kPath = {12, 1};

// Fields: unit; source

inline constexpr tn::u32_id PowerSupply{12};           ///< a Supply; SYSFS/class/power_supply, inputs of PMBus supplies
inline constexpr tn::u32_id Voltage{13};               ///< tenths of a volt; libsensors, SYSFS/class/power_supply
inline constexpr tn::u32_id BoardTemperature{14};      ///< degrees Celsius, two's complement; libsensors,
                                                       ///< SYSFS/class/thermal, SYSFS/class/power_supply
inline constexpr tn::u32_id ProcessorTemperature{17};  ///< as BoardTemperature

/// Values of PowerSupply.
enum class Supply : uint32_t {
    Auxiliary = 0,  ///< a battery or an uninterruptible supply
    Main = 1,
    None = 2,  ///< there are supplies, but none delivers power
};

}  // namespace contracts::health
