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

/// Queries the drivers of the interfaces with these ifindexes. Can block. The result has an entry for each interface.
using DriverSource = std::function<DriverReadings(std::span<const uint32_t> indexes)>;

/// Reads what drivers report about their interfaces, on a helper thread. A reading is renewed when it is older than
/// kMaxAge while readings are requested, and every Watch::kIdleInterval otherwise, so that hourly pollers get current
/// values, too. Without interfaces nothing is read.
///
/// If a driver hangs or doesn't answer, the counters of its last reading stay, however old they are. So counters never
/// disappear.
class DriverWatch {
  public:
    static constexpr std::chrono::seconds kMaxAge{1};
    static constexpr size_t kMaxInterfaces = 256;  ///< limits the duration of a reading: each driver is waited for

    /// Reads nothing before setInterfaces().
    /// @param source  runs on the helper thread
    explicit DriverWatch(DriverSource source = readDrivers);

    /// Sets the interfaces to read from the next reading on, by ifindex. Those past kMaxInterfaces are left out.
    void setInterfaces(std::vector<uint32_t> indexes);
    /// Starts to read ahead, before the first request.
    void keepReading();
    /// Adopts the latest reading, for which it may wait as Watch::latest does. Call it before a request reads values.
    void refresh();

    /// The speed of an interface in Mbit/s, as of the last refresh(). Nothing when it isn't known.
    [[nodiscard]] std::optional<uint32_t> speed(uint32_t index) const;
    /// The counters of an interface, valid until the next refresh(). nullptr as long as its driver has never answered;
    /// a driver without counters has an empty set.
    [[nodiscard]] const DriverCounters* counters(uint32_t index) const;

  private:
    /// Shared with the helper thread, which may outlive this.
    struct Work {
        std::mutex mutex;
        std::vector<uint32_t> indexes;  ///< the interfaces to read; guarded by the mutex
        DriverReadings last;            ///< used by the helper thread only; not guarded
    };
    /// Reads, and adds the counters that only the previous reading had. Runs on the helper thread.
    static DriverReadings read(Work& work, const DriverSource& source);
    [[nodiscard]] const DriverReading* find(uint32_t index) const;

    std::shared_ptr<Work> work_ = std::make_shared<Work>();
    Watch<DriverReadings> watch_;
    std::shared_ptr<const DriverReadings> readings_;
    bool hasInterfaces_ = false;
};

}  // namespace hostd
