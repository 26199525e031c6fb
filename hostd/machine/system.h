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

/// Restarts the machine. Returns the reason of a failure; empty on success.
using Reboot = std::function<std::string()>;

/// Writes unwritten data to the disks and restarts the machine at once (reboot(2)). Returns only on failure, with the
/// reason.
[[nodiscard]] std::string rebootMachine();

/// {24}: the machine as a whole. contracts/system.h has its command.
class System : public tn::Handler {
  public:
    /// @param reboot  empty to refuse every restart
    explicit System(Reboot reboot) : reboot_(std::move(reboot)) {}
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;

  private:
    Reboot reboot_;
};

/// {24, 0}: the time of day, and the offset of the local time zone at that moment.
class SystemTime : public tn::Handler {
  public:
    tn::message cmdGet(const tn::message& request) override;
};

/// {24, 1}: the name of the machine. It is set on the machine itself, so a set is refused here.
class Identity : public tn::Handler {
  public:
    tn::message cmdGet(const tn::message& request) override;
    tn::message cmdSet(const tn::message& request) override;
};

/// {24, 2}: uptime, memory, disks, model, version; its rows are the processors. contracts/system.h has the fields. A
/// set is accepted and changes nothing: a manager that requests a reboot also sets the record it did so through.
///
/// Every request for one of these values comes here, so files are read at most every kMaxAge; only the uptime is always
/// current. A reply waits only for disks whose last reading is too old (see Watch). The processors' counters are also
/// read every loadInterval, so that infrequent pollers get the mean of the last minute, too.
class SystemInfo : public IdTable {
  public:
    static constexpr std::chrono::milliseconds kMaxAge{250};  ///< of memory and processors
    static constexpr std::chrono::seconds kLoadInterval{15};

    struct Paths {
        std::string proc = "/proc";
        std::string sysfs = "/sys";
        std::string osRelease = "/etc/os-release";
        std::chrono::milliseconds loadInterval = kLoadInterval;
    };
    /// Reads everything once; the disks on their helper thread. Logs a line when the memory sizes are missing.
    SystemInfo(const Paths& paths, std::shared_ptr<Disks> disks);

    void loadPermData() override { readLoads(); }  // now with the looper's timers
    tn::message cmdGet(const tn::message& request) override;
    tn::message cmdSet(const tn::message& request) override;

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(loads_.percent().size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& row) const override;

  private:
    void sample(std::chrono::milliseconds now);
    void readLoads();

    std::string version_;
    std::string model_;
    PseudoFile meminfo_;
    PseudoFile stat_;
    PseudoFile online_;
    std::shared_ptr<Disks> disks_;
    std::shared_ptr<const Reading<Disk>> summed_;
    std::optional<DiskSize> diskSize_;  ///< of that reading
    std::chrono::milliseconds sampled_{};
    Memory memory_;
    std::optional<uint32_t> processors_;
    ProcessorLoads loads_;
    std::chrono::milliseconds loadInterval_;
    std::chrono::milliseconds loadsRead_{};
    Timer loadTimer_;
};

}  // namespace hostd
