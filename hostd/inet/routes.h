#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "hostd/inet/route_monitor.h"
#include "hostd/source/timer.h"
#include "hostd/table/owner_table.h"

namespace tn {
class Looper;
}

namespace hostd {

/// {44, 1}: the IPv4 routes of the main table, one row for each next hop. contracts/routes.h has the fields.
///
/// They follow the kernel's notifications; those that are queued, up to kPacketsPerRequest packets, are applied before
/// each answer. Until a large table has been listed for the first time, the rows listed so far are shown.
class Routes : public OwnerTable<const RouteEntry*> {
  public:
    static constexpr size_t kPacketsAtOnce = 64;                     ///< read before the loop serves others
    static constexpr size_t kPacketsPerRequest = 256;                ///< read before a request is answered
    static constexpr std::chrono::milliseconds kListedAtStart{100};  ///< spent on the first listing before others run

    Routes();
    ~Routes() override;

    void loadPermData() override;

    /// Applies a message of the kernel as if it had been notified.
    void apply(const nlmsghdr& message) { monitor_.apply(message, tn::sinceBoot()); }

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(table_.size()); }
    [[nodiscard]] std::optional<const RouteEntry*> lowerBound(const RowKey& key) const override;
    [[nodiscard]] std::optional<const RouteEntry*> after(const RouteEntry* row) const override;
    [[nodiscard]] RowKey keyOf(const RouteEntry* row) const override;
    void writeRow(const RouteEntry* row, tn::message& item) const override;

  private:
    void drain(size_t packets);
    void work();
    void schedule();
    void watchNotices(tn::Looper& looper);

    RouteTable table_;
    RouteMonitor monitor_{table_};
    bool isStarted_ = false;
    int watchedFd_ = -1;
    Timer timer_;
    std::shared_ptr<void> isHere_ = std::make_shared<char>();  ///< for work that the loop deferred: gone with this
    RouteMonitor::Time scheduledFor_ = RouteMonitor::kNever;   ///< the next call of work()
};

}  // namespace hostd
