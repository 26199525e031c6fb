#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hostd/source/pseudo_file.h"
#include "hostd/source/timer.h"
#include "hostd/table/id_table.h"
#include "tn/handler.h"

namespace hostd {

/// Counters of the whole machine since boot, in the order of the fields contracts::activity::User to SwappedOut. A
/// value that the kernel doesn't report is absent.
struct ActivityCounters {
    std::array<std::optional<uint64_t>, 16> values;
    uint32_t processors = 0;  ///< number online

    friend bool operator==(const ActivityCounters&, const ActivityCounters&) = default;
};

/// Parses the texts of /proc/stat and /proc/vmstat (proc(5)). Lines that can't be parsed count as missing.
[[nodiscard]] ActivityCounters parseActivity(std::string_view stat, std::string_view vmstat);

/// {24, 1012}: what processors, interrupts and paging have done. contracts/activity.h has the fields.
///
/// The means are measured from a past reading, the latest one that is kWindow to kOldest old if there is one, as
/// ProcessorLoads does. From the first request on, the counters are read every kInterval for this.
class Activity : public tn::Handler {
  public:
    static constexpr std::chrono::seconds kWindow{60};
    static constexpr std::chrono::seconds kOldest{2 * kWindow};
    static constexpr std::chrono::seconds kSpacing{5};    ///< minimum between two readings that are retained
    static constexpr std::chrono::seconds kInterval{15};  ///< between two readings without a request

    /// @param proc  path of the kernel's process tree ("/proc")
    explicit Activity(const std::string& proc) : stat_(proc + "/stat"), vmstat_(proc + "/vmstat") {}
    tn::message cmdGet(const tn::message& request) override;

  private:
    struct Sample {
        std::chrono::milliseconds at{};  ///< as of tn::awakeSinceBoot
        ActivityCounters counters;
    };
    /// The current counters. Retains them if the last ones retained are old enough, and schedules the next reading.
    Sample read();
    /// The past counters from which means are measured; zeros for the machine's start.
    [[nodiscard]] Sample startOfInterval(std::chrono::milliseconds now) const;

    PseudoFile stat_;
    PseudoFile vmstat_;
    std::vector<Sample> past_;  ///< oldest first; at most the first is older than kWindow
    Timer timer_;
};

/// {24, 1013}: the load averages. contracts/activity.h has the fields.
class LoadAverages : public IdTable {
  public:
    /// @param proc  path of the kernel's process tree ("/proc")
    explicit LoadAverages(const std::string& proc) : loadavg_(proc + "/loadavg") {}

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(loads_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& item) const override;

  private:
    PseudoFile loadavg_;
    std::vector<uint32_t> loads_;  ///< hundredths; empty if they can't be read
};

/// The three averages of /proc/loadavg (proc(5)) in hundredths; empty if the text isn't in that form.
[[nodiscard]] std::vector<uint32_t> parseLoadavg(std::string_view text);

}  // namespace hostd
