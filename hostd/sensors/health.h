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

/// The supply that powers the machine, from SYSFS/class/power_supply (type, online, status). Nothing when that lists no
/// supply. Batteries of single devices, such as a mouse's, don't count. Queries drivers, so it can block.
[[nodiscard]] std::optional<Supply> readSupply(const std::string& sysfs);

/// One reading of sensors and supply. A value that can't be read is absent.
struct HealthReading {
    SensorReading sensors;
    std::optional<Supply> supply;
};

/// Reads sensors and supply. If SYSFS/class/power_supply lists no supply, the supply is determined by the input
/// voltages that sensors measure, since PMBus drivers report nothing else. Queries drivers, so it can block.
[[nodiscard]] HealthReading readHealth(const std::string& sysfs, const SensorChoice& choice);

/// {12, 1}: the values of the machine's sensors, and the supply that powers it. contracts/health.h has the fields. Logs
/// a line whenever the set of measures without a value changes.
class Health : public tn::Handler {
  public:
    static constexpr std::chrono::seconds kMaxAge{5};

    /// @param read  runs on the helper thread
    explicit Health(std::function<HealthReading()> read);
    /// Starts the first reading, and reads ahead from then on.
    void loadPermData() override { watch_.keepReading(); }
    /// The reply is empty before the first reading, and while the last one is too old (see Watch).
    tn::message cmdGet(const tn::message& request) override;

  private:
    Watch<HealthReading> watch_;
    ProblemLog problems_{"sensors"};
};

}  // namespace hostd
