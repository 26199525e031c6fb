#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "hostd/ethtool.h"
#include "hostd/watch.h"

namespace hostd {

/// Asks the drivers of these interfaces, and may block.
using DriverSource = std::function<DriverReadings(std::span<const uint32_t> indexes)>;

/// What the drivers of some interfaces tell, read on a helper thread: once a second as long as somebody asks, and now
/// and then for good, so that a poller that comes once an hour finds it fresh. With no interfaces nothing is read.
///
/// Counters never go back to nothing because a driver hangs or doesn't answer: what it told last stays.
class DriverWatch {
  public:
    static constexpr uint64_t kMaxAge = 1000;  ///< ms
    static constexpr size_t kMost = 256;       ///< interfaces

    explicit DriverWatch(DriverSource source = readDrivers);

    /// The interfaces to read from now on; past kMost the others are left out.
    void setInterfaces(std::vector<uint32_t> indexes);
    /// Starts reading before somebody asks.
    void keepReading();
    /// Somebody asks: takes what was read last, or waits for what is newer, as Watch::ask.
    void ask();

    /// Mbit/s; nothing when it isn't known.
    [[nodiscard]] std::optional<uint32_t> speed(uint32_t index) const;
    /// nullptr when the driver has never told them.
    [[nodiscard]] const DriverCounters* counters(uint32_t index) const;

  private:
    /// Shared with the helper thread, which may outlive this.
    struct Work {
        std::mutex mutex;
        std::vector<uint32_t> indexes;
        DriverReadings last;  ///< the helper thread's
    };
    static DriverReadings read(Work& work, const DriverSource& source);
    [[nodiscard]] const DriverReading* find(uint32_t index) const;

    std::shared_ptr<Work> work_ = std::make_shared<Work>();
    Watch<DriverReadings> watch_;
    std::shared_ptr<const DriverReadings> readings_;
    bool hasInterfaces_ = false;
};

}  // namespace hostd
