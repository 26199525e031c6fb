#pragma once

#include <chrono>

namespace snmp {

/// TimeTicks (hundredths of a second) of a time or duration. Times that owners give in ms from boot become values of
/// sysUpTime, which counts from boot, too.
[[nodiscard]] inline unsigned int timeTicks(std::chrono::milliseconds time) {
    return static_cast<unsigned int>(time / std::chrono::milliseconds(10));
}

}  // namespace snmp
