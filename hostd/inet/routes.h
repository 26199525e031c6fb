#pragma once

#include <optional>

#include "hostd/inet/route_follower.h"
#include "hostd/table/owner_table.h"

namespace hostd {

/// {44, 1}: the IPv4 routes of the main table, a row for each next hop. contracts/routes.h has the fields.
class Routes : public OwnerTable<const RouteEntry<Ipv4>*> {
  public:
    using Entry = RouteEntry<Ipv4>;

    Routes();

    /// Lists the routes, and follows the kernel's notifications from now on.
    void loadPermData() override { follower_.start(); }

    /// Applies a kernel message as if it were a notification.
    void apply(const nlmsghdr& message) { follower_.apply(message); }

    /// Applies queued notifications, as each request does.
    void refresh() override { follower_.refresh(); }
    [[nodiscard]] const RouteTable<Ipv4>& table() const { return follower_.table(); }

  protected:
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(table().size()); }
    [[nodiscard]] std::optional<const Entry*> lowerBound(const RowKey& key) const override;
    [[nodiscard]] std::optional<const Entry*> after(const Entry* row) const override;
    [[nodiscard]] RowKey keyOf(const Entry* row) const override;
    void writeRow(const Entry* row, tn::message& item) const override;

  private:
    /// Writes the key and the wanted fields of a Single row.
    void writeWanted(const Entry& entry, tn::message& item) const;

    RouteFollower<Ipv4> follower_{FirstReading::AtStart};
};

}  // namespace hostd
