#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "contracts/health.h"
#include "hostd/sensors/sensors.h"
#include "hostd/source/watch.h"
#include "tn/handler.h"

namespace hostd {

using contracts::health::Supply;

/// From SYSFS/class/power_supply (its type, online and status); nothing when the machine knows no supply. Batteries of
/// mice and the like don't count. Drivers are asked, so it can block.
[[nodiscard]] std::optional<Supply> readSupply(const std::string& sysfs);

struct HealthReading {
    SensorReading sensors;
    std::optional<Supply> supply;
};

/// Sensors and supply. If class/power_supply lists no supply, measured input voltages tell whether mains power is
/// present (PMBus drivers have no other interface).
[[nodiscard]] HealthReading readHealth(const std::string& sysfs, const SensorChoice& choice);

/// {12, 1}: the readings of the machine's sensors, and what it runs on.
class Health : public tn::Handler {
  public:
    static constexpr uint64_t kMaxAge = 5000;  ///< ms

    /// @param read  runs on the helper thread
    explicit Health(std::function<HealthReading()> read);
    void loadPermData() override { watch_.keepReading(); }  // now with the looper's timers
    tn::message cmdGet(const tn::message& request) override;

  private:
    Watch<HealthReading> watch_;
    std::string problem_;
};

}  // namespace hostd
