#pragma once

#include <chrono>
#include <string>

#include "hostd/links/driver_watch.h"
#include "hostd/links/link_monitor.h"
#include "hostd/links/link_status_debouncer.h"
#include "hostd/links/link_switch.h"
#include "hostd/table/id_table.h"

namespace hostd {

/// {20, 0}: the network interfaces. A row's id is its ifindex. contracts/interfaces.h has the fields and commands.
///
/// The rows follow the kernel's notifications (rtnetlink(7)). Queued notifications are applied before each reply. A
/// request that wants counters or the alias reads the counters of the rows that it returns, unless they were read less
/// than kMaxAge ago. So the cost of one row doesn't depend on the number of interfaces.
class Interfaces : public IdTable {
  public:
    static constexpr std::chrono::milliseconds kMaxAge{250};  ///< of the kernel's counters

    using ModeSource = std::function<std::optional<LinkModes>()>;

    /// Opens and reads nothing: that is loadPermData()'s work.
    /// @param sysfs     path of the kernel's device tree ("/sys"), which shows the links that are radios
    /// @param switcher  brings a link up or down; empty to refuse that
    /// @param drivers   runs on a helper thread; replaced by tests
    /// @param modes     the same; not called before a request wants Speed or Duplex
    explicit Interfaces(const std::string& sysfs, LinkSwitch switcher = {}, DriverSource drivers = readDrivers,
                        ModeSource modes = readLinkModes);

    /// Lists the interfaces, follows the kernel's notifications and starts to read drivers.
    void loadPermData() override;
    /// kList and kGetSpeed. Errors of kGetSpeed: error::NotFound.
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;
    /// True if the subscriber's filter includes changes of status and excludes none of the interface's Flags.
    bool shouldNotify(const tn::message& filter, const tn::message& notification) override;

    /// The links as the kernel has reported them so far, for the owners that show more of them. Valid as long as this.
    [[nodiscard]] const LinkTable& currentLinks();
    /// Applies a kernel message as if it were a notification.
    void apply(const nlmsghdr& message);

  protected:
    void refresh() override;
    void refreshRows(std::span<const uint32_t> ids) override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(links_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& row) const override;
    void writeBrief(uint32_t id, tn::message& row) const override;
    /// Implements the filter Kind of get-all, which lists links of that kind only.
    [[nodiscard]] bool isWanted(uint32_t id, const tn::message& request) const override;
    /// Brings the link up or down by field::Disabled, with a log line; ignores other fields. error::Refused, with the
    /// reason, when that isn't allowed or the kernel refuses.
    tn::message changeRow(uint32_t id, const tn::message& request) override;

  private:
    /// Notifies subscribers of a link's status.
    void report(uint32_t id, const std::string& name, uint32_t status);
    /// Starts the timer for the next transitional status that may have to be reported.
    void reportLastingLater();
    /// The reply to kGetSpeed.
    tn::message replySpeed(const tn::message& request);
    [[nodiscard]] uint32_t speedOf(const Link& link) const;  ///< one of speed_selector
    [[nodiscard]] bool areCountersWanted() const;
    /// Writes the wanted counters.
    void writeCounters(const Link& link, tn::message& row) const;
    /// Updates the numbers of unicast packets of a link from its counters.
    void countUnicast(Link& link) const;
    // Write those of the wanted fields from kFirstDetail to kLastDetail that have this kind.
    void writeDetailBools(const Link& link, tn::message& row) const;
    void writeDetailNumbers(const Link& link, tn::message& row) const;
    /// Has the drivers of the current links read.
    void watchDrivers();

    LinkSwitch switch_;
    LinkStatusDebouncer debouncer_;
    Timer timer_;  ///< runs while a link has a transitional status
    LinkTable links_;
    LinkMonitor monitor_;
    DriverWatch drivers_;
    uint64_t driversVersion_ = 0;  ///< links_.version() at the last watchDrivers()
    Watch<LinkModes> modeWatch_;
    std::shared_ptr<const LinkModes> modes_;  ///< the last ones that were read; nullptr before that
    bool areDetailsWanted_ = false;           ///< fields from kFirstDetail to kLastDetail, by the current request
};

}  // namespace hostd
