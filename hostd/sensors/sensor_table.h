#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "contracts/sensors.h"
#include "hostd/source/watched_table.h"

namespace hostd {

/// A sensor of libsensors, with its value.
struct SensorEntry {
    std::string key;  ///< CHIP/FEATURE, which a changed label doesn't change
    std::string chip;
    std::string label;
    contracts::sensors::Quantity quantity = contracts::sensors::Quantity::Temperature;
    std::optional<double> value;  ///< in the unit of `quantity`; absent if it can't be read
    bool isFaulty = false;
    std::chrono::milliseconds readAt{0};  ///< as of tn::sinceBoot

    /// Computed from the key, so that a sensor usually has the same id after a restart.
    [[nodiscard]] uint32_t preferredId() const { return preferredIdOf(key); }
};

/// Reads all sensors of libsensors, the first 4,096. Queries drivers, so it can block. libsensors always reads /sys:
/// for other trees there are none.
[[nodiscard]] Reading<SensorEntry> readAllSensors(const std::string& sysfs);

/// {24, 1070}: all sensors of libsensors. contracts/sensors.h has the fields. Nothing is read before the first request.
class SensorTable : public WatchedTable<SensorEntry> {
  public:
    static constexpr IdRange kIds{1, 0x10000};

    /// @param read  runs on the helper thread
    explicit SensorTable(std::function<Reading<SensorEntry>()> read)
        : WatchedTable("all sensors", std::move(read), contracts::sensors::kMaxAge, kIds, FirstReading::OnRequest) {}

  protected:
    void writeEntry(const SensorEntry& sensor, tn::message& item) const override;
};

}  // namespace hostd
