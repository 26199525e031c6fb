#pragma once

#include <chrono>

namespace snmp {

/// TimeTicks (hundredths of a second) of a duration.
[[nodiscard]] inline unsigned int timeTicks(std::chrono::milliseconds time) {
    return static_cast<unsigned int>(time / std::chrono::milliseconds(10));
}

/// sysUpTime at a moment that an owner gives from boot. It has whole seconds, as the agent's sysUpTime has: otherwise
/// it could be later than a sysUpTime that is read after it.
[[nodiscard]] inline unsigned int sysUpTimeAt(std::chrono::milliseconds moment) {
    return timeTicks(std::chrono::floor<std::chrono::seconds>(moment));
}

}  // namespace snmp
