#pragma once

#include <memory>
#include <vector>

#include "hostd/inet/routes.h"
#include "hostd/table/position_table.h"

namespace hostd {

using Ipv6Routes = RouteFollower<Ipv6>;

/// A row: an IPv4 route, or else an IPv6 route.
struct InetRouteRow {
    const RouteEntry<Ipv4>* ipv4 = nullptr;
    const RouteEntry<Ipv6>* ipv6 = nullptr;
};

/// {24, 1048}: the routes of IPv4, then those of IPv6. contracts/inet.h has the fields. The rows of IPv4 are those of
/// {44, 1}. Those of IPv6 are listed by the first request, and followed from then on.
class InetRoutes : public OwnerTable<InetRouteRow> {
  public:
    /// @param ipv4  must outlive this
    InetRoutes(Routes& ipv4, std::shared_ptr<Ipv6Routes> ipv6);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override;
    [[nodiscard]] std::optional<InetRouteRow> lowerBound(const RowKey& key) const override;
    [[nodiscard]] std::optional<InetRouteRow> after(InetRouteRow row) const override;
    [[nodiscard]] RowKey keyOf(InetRouteRow row) const override;
    void writeRow(InetRouteRow row, tn::message& item) const override;

  private:
    [[nodiscard]] std::optional<InetRouteRow> firstOfIpv6(const RowKey& key) const;

    Routes& ipv4_;
    std::shared_ptr<Ipv6Routes> ipv6_;
};

/// {24, 1049}: the gateways of default routes. contracts/inet.h has the fields.
class DefaultRouters : public PositionTable {
  public:
    /// @param ipv4  must outlive this
    DefaultRouters(Routes& ipv4, std::shared_ptr<Ipv6Routes> ipv6);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(rows_.size()); }
    [[nodiscard]] RowKey keyOf(size_t row) const override { return rows_[row]; }
    void writeRow(size_t row, tn::message& item) const override { writeKey(fields_, rows_[row], item); }

  private:
    Routes& ipv4_;
    std::shared_ptr<Ipv6Routes> ipv6_;
    std::vector<KeyField> fields_;
    std::vector<RowKey> rows_;  ///< ascending; a row is its key
};

}  // namespace hostd
