#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "hostd/background.h"
#include "hostd/ethtool.h"
#include "tn/thin_runner.h"

namespace hostd {

/// What the drivers of some interfaces tell, read on a helper thread: once a second as long as somebody asks, and for
/// kLinger after that, so that a poller that comes every few minutes finds it fresh. With no interfaces nothing is
/// read.
class DriverWatch {
  public:
    static constexpr uint64_t kMaxAge = 1000;      ///< ms
    static constexpr uint64_t kLinger = 600'000;   ///< ms
    static constexpr uint64_t kTooOld = 10'000;    ///< ms, of counters; a speed is the last known one
    static constexpr uint64_t kPatience = 10'000;  ///< ms after which a driver counts as stuck
    static constexpr size_t kMost = 256;           ///< interfaces

    DriverWatch();
    ~DriverWatch();
    DriverWatch(const DriverWatch&) = delete;
    DriverWatch& operator=(const DriverWatch&) = delete;

    /// The interfaces to read from now on; past kMost the others are left out.
    void setInterfaces(std::vector<uint32_t> indexes);
    /// Somebody asks: takes what was read last, and has it read again when that is due.
    void ask(uint64_t now);

    /// Mbit/s; nothing when it isn't known.
    [[nodiscard]] std::optional<uint32_t> speed(uint32_t index) const;
    /// nullptr when there are none, or none that are fresh.
    [[nodiscard]] const DriverCounters* counters(uint32_t index) const;

  private:
    /// Shared with the helper thread, which may outlive this.
    struct Work {
        std::mutex mutex;
        std::vector<uint32_t> indexes;
        uint64_t now = 0;
    };
    void look(uint64_t now);
    void keepLooking();

    std::shared_ptr<Work> work_ = std::make_shared<Work>();
    Background<DriverReadings> background_;
    std::shared_ptr<const DriverReadings> readings_;
    bool hasInterfaces_ = false;
    uint64_t asked_ = 0;
    uint64_t looked_ = 0;
    tn::ThinRunner::TimerId timer_ = 0;
};

}  // namespace hostd
