#pragma once

#include <functional>
#include <string>
#include <vector>

#include "hostd/links/driver_watch.h"
#include "hostd/links/link_monitor.h"
#include "hostd/links/link_status_debouncer.h"
#include "hostd/table/id_table.h"

namespace hostd {

/// Brings a link up or down; returns why that failed, or an empty string.
using LinkSwitch = std::function<std::string(uint32_t index, bool isUp)>;

/// Changes IFF_UP of a link (RTM_NEWLINK, rtnetlink(7)); needs CAP_NET_ADMIN.
[[nodiscard]] std::string switchLink(uint32_t index, bool isUp);

/// {20, 0}: the network interfaces, known by their ifindex. contracts/interfaces.h has the fields.
///
/// They come, change and go by the kernel's notifications; what waits of these is taken in before each answer. A row's
/// counters are read anew when they are older than kMaxAge and it is shown, so a single one costs the same however many
/// interfaces there are, and a walk reads each once.
class Interfaces : public IdTable {
  public:
    static constexpr uint64_t kMaxAge = 250;  ///< ms, of the kernel's counters

    /// @param sysfs  the kernel's tree of devices ("/sys"): tells which of them are radios
    /// @param switcher  empty when link changes aren't allowed
    /// @param drivers   for tests
    explicit Interfaces(const std::string& sysfs, LinkSwitch switcher = {}, DriverSource drivers = readDrivers);
    ~Interfaces() override;

    void loadPermData() override;
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;
    /// True if the filter wants changes of status and excludes none of the interface's Flags.
    bool shouldNotify(const tn::message& filter, const tn::message& notification) override;

    /// Takes a message of the kernel in, as if it had come by itself.
    void take(const nlmsghdr& message);

  protected:
    void refresh() override;
    void refreshIds(std::span<const uint32_t> ids) override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(links_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void listRow(uint32_t id, tn::message& row) const override;
    void briefRow(uint32_t id, tn::message& row) const override;
    /// A get-all with Kind lists links of that kind only.
    [[nodiscard]] bool isIdWanted(uint32_t id, const tn::message& request) const override;
    tn::message setRow(uint32_t id, const tn::message& request) override;

  private:
    void tell(uint32_t id, const std::string& name, uint32_t status);
    void tellLastingLater();
    tn::message speedOf(const tn::message& request);
    void watchDrivers();

    LinkSwitch switch_;
    StatusNews news_;
    tn::ThinRunner::TimerId timer_ = 0;  ///< for the news that have to last
    LinkTable links_;
    LinkMonitor monitor_;
    DriverWatch drivers_;
    uint64_t driversVersion_ = 0;  ///< of links_, when the drivers to watch were chosen
};

}  // namespace hostd
