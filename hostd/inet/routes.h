#pragma once

#include <memory>

#include "hostd/inet/route_monitor.h"
#include "hostd/table/owner_table.h"

namespace hostd {

/// {44, 1}: the IPv4 routes of the main table, one row for each next hop. contracts/routes.h has the fields.
///
/// They follow the kernel's notifications; what waits of these, up to kPacketsBefore, is taken in before each answer.
/// Before the process has read all of a large table for the first time the rows read so far are shown.
class Routes : public OwnerTable {
  public:
    static constexpr size_t kPacketsAtOnce = 64;   ///< before the loop looks after others
    static constexpr size_t kPacketsBefore = 256;  ///< an answer
    static constexpr uint64_t kFirst = 100;        ///< ms to read routes, at the start

    Routes();
    ~Routes() override;

    void loadPermData() override;

    /// Takes a message of the kernel in, as if it had come by itself.
    void take(const nlmsghdr& message) { table_.take(message); }

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(table_.size()); }
    [[nodiscard]] Row lowerBound(const RowKey& key) const override;
    [[nodiscard]] Row after(Row row) const override;
    [[nodiscard]] RowKey keyOf(Row row) const override;
    void writeRow(Row row, tn::message& item) const override;

  private:
    void drain(size_t packets);
    void work();
    void arrange();

    RouteTable table_;
    RouteMonitor monitor_{table_};
    bool isWatching_ = false;  ///< the kernel's notifications
    int watchedFd_ = -1;
    uint64_t timer_ = 0;
    std::shared_ptr<void> isHere_ = std::make_shared<char>();  ///< for work that the loop deferred: gone with this
    uint64_t arrangedFor_ = RouteMonitor::kNever;              ///< when work() will be called
};

}  // namespace hostd
