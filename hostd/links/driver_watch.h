#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "hostd/links/ethtool.h"
#include "hostd/source/watch.h"

namespace hostd {

/// Queries the drivers of these interfaces; may block.
using DriverSource = std::function<DriverReadings(std::span<const uint32_t> indexes)>;

/// Readings of interfaces' drivers, made on a helper thread: every second while they are requested, and every
/// Watch::kIdleInterval otherwise, so that hourly pollers get current values. With no interfaces nothing is read.
///
/// Counters never disappear because a driver hangs or doesn't answer: its last reading stays.
class DriverWatch {
  public:
    static constexpr std::chrono::seconds kMaxAge{1};
    static constexpr size_t kMaxInterfaces = 256;

    explicit DriverWatch(DriverSource source = readDrivers);

    /// The interfaces to read from now on; those past kMaxInterfaces are left out.
    void setInterfaces(std::vector<uint32_t> indexes);
    /// Starts reading before the first request.
    void keepReading();
    /// For each request: fetches the last reading, or waits for a newer one, as Watch::latest.
    void refresh();

    /// Mbit/s; nothing when it isn't known.
    [[nodiscard]] std::optional<uint32_t> speed(uint32_t index) const;
    /// nullptr when the driver has never reported any.
    [[nodiscard]] const DriverCounters* counters(uint32_t index) const;

  private:
    /// Shared with the helper thread, which may outlive this.
    struct Work {
        std::mutex mutex;
        std::vector<uint32_t> indexes;
        DriverReadings last;  ///< used by the helper thread only
    };
    static DriverReadings read(Work& work, const DriverSource& source);
    [[nodiscard]] const DriverReading* find(uint32_t index) const;

    std::shared_ptr<Work> work_ = std::make_shared<Work>();
    Watch<DriverReadings> watch_;
    std::shared_ptr<const DriverReadings> readings_;
    bool hasInterfaces_ = false;
};

}  // namespace hostd
