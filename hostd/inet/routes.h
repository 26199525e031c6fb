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

/// {44, 1}: the IPv4 routes of the main table, a row for each next hop. contracts/routes.h has the fields.
///
/// The rows follow the kernel's notifications (RouteMonitor). Queued notifications, up to kPacketsPerRequest packets,
/// are applied before each reply. Until a large table has been listed for the first time, replies have the rows that
/// have been listed so far.
class Routes : public OwnerTable<const RouteEntry*> {
  public:
    static constexpr size_t kPacketsAtOnce = 64;       ///< maximum to read before the loop continues with other work
    static constexpr size_t kPacketsPerRequest = 256;  ///< maximum to read before a request is answered
    /// Maximum time that loadPermData() spends on the first listing. The loop does the rest.
    static constexpr std::chrono::milliseconds kListedAtStart{100};

    Routes();
    ~Routes() override;

    /// Subscribes to notifications and begins the first listing. Before this, there are no rows.
    void loadPermData() override;

    /// Applies a kernel message as if it were a notification.
    void apply(const nlmsghdr& message) { monitor_.apply(message, tn::sinceBoot()); }

    /// Applies queued notifications, as each request does.
    void refresh() override;
    [[nodiscard]] const RouteTable& table() const { return table_; }

  protected:
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(table_.size()); }
    [[nodiscard]] std::optional<const RouteEntry*> lowerBound(const RowKey& key) const override;
    [[nodiscard]] std::optional<const RouteEntry*> after(const RouteEntry* row) const override;
    [[nodiscard]] RowKey keyOf(const RouteEntry* row) const override;
    void writeRow(const RouteEntry* row, tn::message& item) const override;

  private:
    /// Writes the key and the wanted fields of a Single row.
    void writeWanted(const RouteEntry& entry, tn::message& item) const;
    /// Applies queued notifications, at most `packets` packets.
    void drain(size_t packets);
    /// Does a slice of the monitor's work.
    void work();
    /// Has the loop call work() when the monitor is due, and drain() when there are notifications.
    void schedule();
    void watchNotices(tn::Looper& looper);

    RouteTable table_;
    RouteMonitor monitor_{table_};
    bool isStarted_ = false;                                   ///< loadPermData() was called
    int watchedFd_ = -1;                                       ///< the descriptor that was added to the loop
    Timer timer_;                                              ///< for the next call of work()
    std::shared_ptr<void> isHere_ = std::make_shared<char>();  ///< expires with this object: stops deferred calls
    RouteMonitor::Time scheduledFor_ = RouteMonitor::kNever;   ///< when work() is called next
};

}  // namespace hostd
