#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "hostd/machine/disk_table.h"
#include "hostd/machine/memory.h"
#include "hostd/machine/processor_loads.h"
#include "hostd/source/pseudo_file.h"
#include "hostd/source/timer.h"
#include "hostd/table/id_table.h"
#include "tn/handler.h"

namespace hostd {

/// Restarts the machine. Returns an empty string on success, otherwise the reason of the failure.
using Reboot = std::function<std::string()>;

/// Writes cached data to the disks and restarts the machine at once (sync(2), reboot(2)), without stopping services.
/// Needs CAP_SYS_BOOT. Returns only on failure, with the reason.
[[nodiscard]] std::string rebootMachine();

/// {24}: the machine itself. contracts/system.h has its command.
class System : public tn::Handler {
  public:
    /// @param reboot  empty to refuse reboots
    explicit System(Reboot reboot) : reboot_(std::move(reboot)) {}
    /// kReboot, with a log line. error::Refused when it isn't allowed or fails.
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;

  private:
    Reboot reboot_;
};

/// {24, 0}: the time of day and the current offset of the local time zone. contracts/system.h has the fields.
class SystemTime : public tn::Handler {
  public:
    tn::message cmdGet(const tn::message& request) override;
};

/// {24, 1}: the name of the machine (uname(2)). A set gets error::Refused: the name is set on the machine itself.
class Identity : public tn::Handler {
  public:
    tn::message cmdGet(const tn::message& request) override;
    tn::message cmdSet(const tn::message& request) override;
};

/// {24, 2}: uptime, memory, disks, model and version of the machine. Its rows are the processors. contracts/system.h
/// has the fields. A set succeeds and changes nothing. The agent sends one when a manager writes a control (reboot, USB
/// reset): it then also writes the control's record back to this owner.
///
/// A reply has all values, even if the agent needs only one. So files are read at most every kMaxAge; only the uptime
/// is always current. A reply waits only for the disks, when their last reading is too old (see Watch). The processors'
/// counters are also read every loadInterval, so that infrequent pollers get the mean of the last minute, too.
class SystemInfo : public IdTable {
  public:
    static constexpr std::chrono::milliseconds kMaxAge{250};  ///< of memory and processors
    static constexpr std::chrono::seconds kLoadInterval{15};

    /// The sources. Tests replace them.
    struct Paths {
        std::string proc = "/proc";
        std::string sysfs = "/sys";
        std::string osRelease = "/etc/os-release";
        std::chrono::milliseconds loadInterval = kLoadInterval;
    };
    /// Reads model and version, which aren't read again, and the other values for the first time. Logs a line when the
    /// memory sizes are missing.
    /// @param disks  may be shared with other owners
    SystemInfo(const Paths& paths, std::shared_ptr<Disks> disks);

    /// Starts to read the processors' counters every loadInterval, which needs the looper's timers.
    void loadPermData() override { readLoads(); }
    tn::message cmdGet(const tn::message& request) override;
    tn::message cmdSet(const tn::message& request) override;

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(loads_.percent().size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& row) const override;

  private:
    /// Reads memory and number of processors.
    void sample(std::chrono::milliseconds now);
    /// Reads the processors' counters, and schedules the next time.
    void readLoads();

    std::string version_;
    std::string model_;
    PseudoFile meminfo_;
    PseudoFile stat_;
    PseudoFile online_;
    std::shared_ptr<Disks> disks_;
    std::shared_ptr<const Reading<Disk>> summed_;  ///< the reading that diskSize_ is the sum of
    std::optional<DiskSize> diskSize_;
    std::chrono::milliseconds sampled_{};  ///< time of the last sample(), as of tn::sinceBoot
    Memory memory_;
    std::optional<uint32_t> processors_;  ///< number online
    ProcessorLoads loads_;
    std::chrono::milliseconds loadInterval_;
    std::chrono::milliseconds loadsRead_{};  ///< time of the last readLoads(), as of tn::sinceBoot
    Timer loadTimer_;
};

}  // namespace hostd
