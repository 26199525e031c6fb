#pragma once

#include <chrono>
#include <string>

#include "hostd/links/driver_watch.h"
#include "hostd/links/link_monitor.h"
#include "hostd/links/link_status_debouncer.h"
#include "hostd/links/link_switch.h"
#include "hostd/table/id_table.h"

namespace hostd {

/// {20, 0}: the network interfaces, known by their ifindex. contracts/interfaces.h has the fields.
///
/// They come, change and go by the kernel's notifications; those that are queued are applied before each answer. A
/// row's counters are read anew when it is shown and they are older than kMaxAge. So a single row costs the same
/// however many interfaces there are, and a walk reads each once.
class Interfaces : public IdTable {
  public:
    static constexpr std::chrono::milliseconds kMaxAge{250};  ///< of the kernel's counters

    /// @param sysfs     the kernel's tree of devices ("/sys"): shows which links are radios
    /// @param switcher  empty when link changes aren't allowed
    /// @param drivers   replaced by tests
    explicit Interfaces(const std::string& sysfs, LinkSwitch switcher = {}, DriverSource drivers = readDrivers);

    void loadPermData() override;
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;
    /// True if the filter wants changes of status and excludes none of the interface's Flags.
    bool shouldNotify(const tn::message& filter, const tn::message& notification) override;

    /// Applies a message of the kernel as if it had been notified.
    void apply(const nlmsghdr& message);

  protected:
    void refresh() override;
    void refreshRows(std::span<const uint32_t> ids) override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(links_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& row) const override;
    void writeBrief(uint32_t id, tn::message& row) const override;
    /// A get-all with Kind lists links of that kind only.
    [[nodiscard]] bool isWanted(uint32_t id, const tn::message& request) const override;
    tn::message changeRow(uint32_t id, const tn::message& request) override;

  private:
    void report(uint32_t id, const std::string& name, uint32_t status);
    void reportLastingLater();
    tn::message speedOf(const tn::message& request);
    void watchDrivers();

    LinkSwitch switch_;
    LinkStatusDebouncer debouncer_;
    Timer timer_;  ///< for statuses that have to last
    LinkTable links_;
    LinkMonitor monitor_;
    DriverWatch drivers_;
    uint64_t driversVersion_ = 0;  ///< of links_, when the drivers to watch were chosen
};

}  // namespace hostd
