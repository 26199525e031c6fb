#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "hostd/machine/disk_table.h"
#include "hostd/machine/memory.h"
#include "hostd/machine/processor_loads.h"
#include "hostd/source/kept_file.h"
#include "hostd/table/id_table.h"
#include "tn/handler.h"
#include "tn/thin_runner.h"

namespace hostd {

/// Restarts the machine; what it returns is the reason why that failed.
using Reboot = std::function<std::string()>;

/// Writes what is unwritten to the disks and restarts the machine at once (reboot(2)). Returns only when the kernel
/// refuses.
[[nodiscard]] std::string rebootMachine();

/// {24}: the machine as a whole. contracts/system.h has its command.
class System : public tn::Handler {
  public:
    /// @param reboot  empty when it isn't allowed
    explicit System(Reboot reboot) : reboot_(std::move(reboot)) {}
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;

  private:
    Reboot reboot_;
};

/// {24, 0}: the time of day.
class SystemTime : public tn::Handler {
  public:
    tn::message cmdGet(const tn::message& request) override;
};

/// {24, 1}: who the machine is. Its name is given on the machine itself, so a set is refused.
class Identity : public tn::Handler {
  public:
    tn::message cmdGet(const tn::message& request) override;
    tn::message cmdSet(const tn::message& request) override;
};

/// {24, 2}: uptime, memory, disks, model, version; its rows are the processors. A set is accepted and changes nothing:
/// whoever asks for a reboot sets the record it was written through as well.
///
/// Every request for one of these values comes here, so files are read at most every kMaxAge. A reply waits only for
/// disks whose last reading is too old (see Watch); only the uptime is always current. The processors' counters are
/// also read every loadInterval, so that infrequent pollers get the mean of the last minute, too.
class SystemInfo : public IdTable {
  public:
    static constexpr uint64_t kMaxAge = 250;           ///< ms, of memory and processors
    static constexpr uint64_t kLoadInterval = 15'000;  ///< ms

    struct Places {
        std::string proc = "/proc";
        std::string sysfs = "/sys";
        std::string osRelease = "/etc/os-release";
        uint64_t loadInterval = kLoadInterval;
    };
    /// Takes the first reading of everything.
    SystemInfo(const Places& places, std::shared_ptr<Disks> disks);
    ~SystemInfo() override;
    SystemInfo(const SystemInfo&) = delete;
    SystemInfo& operator=(const SystemInfo&) = delete;

    void loadPermData() override { readLoads(); }  // now with the looper's timers
    tn::message cmdGet(const tn::message& request) override;
    tn::message cmdSet(const tn::message& request) override;

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(loads_.percent().size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void listRow(uint32_t id, tn::message& row) const override;

  private:
    void sample(uint64_t now);
    void readLoads();

    std::string version_;
    std::string model_;
    KeptFile meminfo_;
    KeptFile stat_;
    KeptFile online_;
    std::shared_ptr<Disks> disks_;
    std::shared_ptr<const Reading<Disk>> summed_;
    std::optional<DiskSize> diskSize_;  ///< of that reading
    uint64_t sampled_ = 0;
    Memory memory_;
    std::optional<uint32_t> processors_;
    ProcessorLoads loads_;
    uint64_t loadInterval_;
    uint64_t loadsRead_ = 0;
    tn::ThinRunner::TimerId loadTimer_ = 0;
};

}  // namespace hostd
