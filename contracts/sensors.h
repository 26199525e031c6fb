#pragma once

#include <array>
#include <chrono>
#include <cstdint>

#include "tn/ids.h"

/// {24, 1070}: all sensors of libsensors. hostd/sensors/sensor_table.h owns them. A sensor has the same id, from 1 to
/// 0xffff, as long as the machine has it, and usually after a restart. For the plug-in sensors.
namespace contracts::sensors {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1070};

inline constexpr std::chrono::milliseconds kMaxAge{5000};  ///< of a value when it is served

// Fields

inline constexpr tn::string_id Chip{1};   ///< as sensors(1) prints it: "coretemp-isa-0000"
inline constexpr tn::string_id Label{2};  ///< "Package id 0"; the feature's name if it has none
inline constexpr tn::u32_id What{3};      ///< a Quantity
inline constexpr tn::u32_id State{4};     ///< a Status
inline constexpr tn::u32_id Value{5};     ///< Ok only: thousandths of the unit, two's complement, at most 10^9 each way
inline constexpr tn::u64_id ReadAt{6};    ///< ms from boot

/// Values of What, with the unit of Value.
enum class Quantity : uint32_t {
    Voltage = 1,      ///< V
    Fan = 2,          ///< turns per minute
    Temperature = 3,  ///< degrees Celsius
    Power = 4,        ///< W
    Energy = 5,       ///< J
    Current = 6,      ///< A
    Humidity = 7,     ///< percent
    Intrusion = 8,    ///< 1 if the case was opened, else 0
};

/// Values of State.
enum class Status : uint32_t {
    Ok = 1,
    Unreadable = 2,  ///< the driver reports no value
    Faulty = 3,      ///< the driver reports that the sensor is broken or not connected
};

}  // namespace contracts::sensors
