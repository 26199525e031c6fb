#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "contracts/health.h"
#include "hostd/sensors/sensors.h"
#include "hostd/source/problem_log.h"
#include "hostd/source/watch.h"
#include "tn/handler.h"

namespace hostd {

using contracts::health::Supply;

/// What powers the machine, from SYSFS/class/power_supply (type, online, status); nothing when no supply is listed.
/// Batteries of mice and the like don't count. Queries drivers, so it can block.
[[nodiscard]] std::optional<Supply> readSupply(const std::string& sysfs);

/// All readings of one moment; what can't be read is absent.
struct HealthReading {
    SensorReading sensors;
    std::optional<Supply> supply;
};

/// Reads sensors and supply. If class/power_supply lists no supply, measured input voltages show whether mains power is
/// present (PMBus drivers have no other interface). Queries drivers, so it can block.
[[nodiscard]] HealthReading readHealth(const std::string& sysfs, const SensorChoice& choice);

/// {12, 1}: the readings of the machine's sensors, and what powers it. contracts/health.h has the fields. Logs a line
/// whenever the set of measures without a sensor changes.
class Health : public tn::Handler {
  public:
    static constexpr std::chrono::seconds kMaxAge{5};

    /// @param read  runs on the helper thread
    explicit Health(std::function<HealthReading()> read);
    void loadPermData() override { watch_.keepReading(); }  // now with the looper's timers
    /// Empty before the first reading and while the last one is too old (see Watch).
    tn::message cmdGet(const tn::message& request) override;

  private:
    Watch<HealthReading> watch_;
    ProblemLog problems_{"sensors"};
};

}  // namespace hostd
