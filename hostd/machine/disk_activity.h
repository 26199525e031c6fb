#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "hostd/source/pseudo_file.h"
#include "hostd/source/timer.h"
#include "hostd/table/id_table.h"
#include "hostd/table/stable_ids.h"

namespace hostd {

/// Counters of a block device since it was added.
struct BlockCounters {
    std::string key;  ///< the kernel's name: "sda1"
    uint64_t reads = 0;
    uint64_t readOctets = 0;
    uint64_t writes = 0;
    uint64_t writtenOctets = 0;
    uint64_t busy = 0;  ///< ms

    /// The same for all devices, so that a new device gets the lowest free id.
    [[nodiscard]] static uint32_t preferredId() { return 1; }
    friend bool operator==(const BlockCounters&, const BlockCounters&) = default;
};

/// Parses the text of /proc/diskstats (proc(5)). Lines that can't be parsed are skipped, and loop devices and RAM disks
/// that were never used: the kernel has a fixed number of them.
[[nodiscard]] std::vector<BlockCounters> parseDiskstats(std::string_view text);

/// {24, 1014}: what block devices have done. contracts/activity.h has the fields. From the first request on, the
/// counters are read every kInterval for the means.
class DiskActivity : public IdTable {
  public:
    static constexpr std::chrono::milliseconds kMaxAge{250};  ///< of the counters
    static constexpr std::chrono::seconds kSpacing{5};        ///< minimum between two updates of the means
    static constexpr std::chrono::seconds kInterval{15};      ///< between two readings without a request

    /// @param proc  path of the kernel's process tree ("/proc")
    explicit DiskActivity(const std::string& proc) : diskstats_(proc + "/diskstats") {}

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(rows_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& item) const override;

  private:
    /// How busy a device was: means that fade over 1, 5 and 15 minutes.
    struct Means {
        std::array<double, 3> busy{};    ///< 0 to 1
        std::chrono::milliseconds at{};  ///< time of the last update, as of tn::awakeSinceBoot; 0 before the first one
        uint64_t last = 0;               ///< BlockCounters::busy then
    };
    /// Reads the counters, updates the means, and schedules the next time.
    void read();

    PseudoFile diskstats_;
    std::map<uint32_t, BlockCounters> rows_;
    std::map<std::string, Means> means_;           ///< by name, of the devices in rows_
    std::optional<std::chrono::milliseconds> at_;  ///< time of the last read(), as of tn::awakeSinceBoot
    Timer timer_;
};

}  // namespace hostd
