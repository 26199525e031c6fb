#pragma once

#include <memory>

#include "hostd/inet/route_monitor.h"
#include "hostd/table/owner_table.h"

namespace hostd {

/// {44, 1}: the IPv4 routes of the main table, one row for each next hop. See the contract below.
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

/// What sort of route one is, in the numbers of the contract of {44, 1}.
namespace route_kind {
constexpr uint32_t Discarding = 1;  // blackhole, unreachable, prohibit, throw: not passed on, without next hop
constexpr uint32_t Connected = 2;   // to a network of one of the links: no gateway, whoever made it
constexpr uint32_t Static = 3;      // RTPROT_STATIC, RTPROT_BOOT (made by hand)
constexpr uint32_t Rip = 4;
constexpr uint32_t Ospf = 6;
constexpr uint32_t Bgp = 8;
constexpr uint32_t Other = 30;  // made by the kernel, DHCP, or a daemon that doesn't say which protocol told it
}  // namespace route_kind

/// The contract of {44, 1}. The rows are the next hops that packets can take, keyed and ordered by Destination, Mask
/// and Gateway; of several with the same key (other metric or TOS) the one preferred. A next hop whose link is down or
/// without carrier is no row and isn't counted: rows are never Invalid nor Disabled.
namespace route {
//                                        source
constexpr tn::be32_id Destination{1};     // RTA_DST
constexpr tn::be32_id Mask{2};            // rtm_dst_len
constexpr tn::be32_id Gateway{3};         // RTA_GATEWAY; 0.0.0.0 without one, and for one of another family (RFC 8950)
constexpr tn::be32_array_id Gateways{4};  // Gateway alone; absent from a connected route
constexpr tn::u32_array_id Links{5};      // ifindex, RTA_OIF; 0 for none
constexpr tn::u32_id Kind{7};             // route_kind, rtm_protocol
constexpr tn::u32_id Distance{8};         // RTA_PRIORITY: the metric, the least one wins
}  // namespace route

}  // namespace hostd
