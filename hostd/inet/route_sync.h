#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "hostd/inet/nexthop_table.h"
#include "hostd/inet/route_table.h"

namespace hostd {

/// Brings a RouteTable in step with the IPv4 routes of the kernel's main table: applies notifications and listings, in
/// the order in which they were received. A listing may be in progress while notifications continue.
class RouteSync {
  public:
    /// @param table  must outlive this, and is changed by nothing else
    explicit RouteSync(RouteTable& table) : table_(table) {}

    /// Applies RTM_NEWROUTE and RTM_DELROUTE as notifications; ignores other messages.
    void applyRoute(const nlmsghdr& message);
    /// Applies RTM_NEWNEXTHOP and RTM_DELNEXTHOP as notifications. Routes through the object stay unchanged until they
    /// are listed anew. @return the object's id; 0 for other messages and malformed ones
    uint32_t applyNexthop(const nlmsghdr& message) { return nexthops_.apply(message); }

    /// Begins a listing: every nexthop object, endNexthops(), every route, then sweep() until it returns true.
    void beginListing();
    /// Applies a message of the listing; ignores other messages.
    void list(const nlmsghdr& message);
    void endNexthops() { nexthops_.endListing(); }
    /// Removes routes that were neither listed nor notified since beginListing(), checking about `max` entries. Only to
    /// be called when every notification from before the listing's end has been applied. True when all are checked.
    [[nodiscard]] bool sweep(size_t max);
    [[nodiscard]] size_t swept() const { return swept_; }  ///< entries removed by sweep() since beginListing()

    /// True, once, if a notification was ambiguous: routes should be listed anew.
    [[nodiscard]] bool takeDoubt() { return std::exchange(isInDoubt_, false); }
    /// True if routes go through this link, or this nexthop object or a group that contains it.
    [[nodiscard]] bool usesLink(uint32_t link) const { return table_.usesLink(link); }
    [[nodiscard]] bool usesNexthop(uint32_t id) const;

  private:
    /// A route as it is in the table.
    struct StoredRoute {
        int32_t place;
        std::vector<const RouteEntry*> entries;
        [[nodiscard]] bool is(const Route& route) const;
        [[nodiscard]] const RouteEntry* find(const Route::NextHop& hop) const;
    };
    /// Orders entries by what identifies a next hop.
    struct ByRoute {
        bool operator()(const RouteEntry& a, const RouteEntry& b) const { return a.key() < b.key(); }
    };

    [[nodiscard]] bool read(const nlmsghdr& message);
    void applyNew(const Route& route, unsigned flags);
    void applyGone(const Route& route);
    [[nodiscard]] std::vector<StoredRoute> stored(const Route& route) const;
    void put(const Route& route, int32_t place);
    void update(const Route& route, const StoredRoute& stored);
    void remove(const RouteId& id, int32_t place);
    [[nodiscard]] bool wasRemoved(const Route& route) const;

    RouteTable& table_;
    NexthopTable nexthops_;
    Route read_;  ///< kept for its vector's memory

    bool isInDoubt_ = false;
    uint8_t listing_ = 0;  ///< number of the last one
    bool isListing_ = false;
    absl::btree_multiset<RouteEntry, ByRoute> removed_;  ///< by notifications, during this listing
    RouteId lastListed_;
    int32_t lastPlace_ = INT32_MIN;  ///< of that one
    bool isSweeping_ = false;
    RouteTable::Position alternatesAt_;  ///< where the sweep continues
    RouteTable::Position rowsAt_;
    size_t swept_ = 0;
};

}  // namespace hostd
