#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "hostd/inet/nexthop_table.h"
#include "hostd/inet/route_table.h"

namespace hostd {

/// Applies the kernel's notifications and listings to a RouteTable, so that it has the family's routes of the main
/// table. Messages must be applied in the order in which they were received. Notifications may be applied during a
/// listing.
template <class Family>
class RouteSync {
  public:
    using Table = RouteTable<Family>;

    /// @param table  must outlive this; nothing else may change it
    explicit RouteSync(Table& table) : table_(table) {}

    /// Applies a notification, RTM_NEWROUTE or RTM_DELROUTE. Ignores other and malformed messages.
    void applyRoute(const nlmsghdr& message);
    /// Applies a notification, RTM_NEWNEXTHOP or RTM_DELNEXTHOP. Routes through the object don't change before they are
    /// listed again. @return the object's id; 0 for other messages and malformed ones
    uint32_t applyNexthop(const nlmsghdr& message) { return nexthops_.apply(message); }

    /// Begins a listing. The caller then passes all nexthop objects to list(), calls endNexthops(), passes all routes
    /// to list(), and calls sweep() until it returns true. A listing that fails is simply begun again.
    void beginListing();
    /// Applies an RTM_NEWNEXTHOP or RTM_NEWROUTE of the listing. Ignores other and malformed messages.
    void list(const nlmsghdr& message);
    void endNexthops() { nexthops_.endListing(); }
    /// Removes routes that were neither listed nor notified since beginListing(). Each call checks about `max` entries.
    /// All notifications from before the listing's end must have been applied. True when all entries have been checked,
    /// which ends the listing.
    [[nodiscard]] bool sweep(size_t max);
    [[nodiscard]] size_t swept() const { return swept_; }  ///< entries removed by sweep() since beginListing()
    /// True if the listing may lack routes that exist (Family::kListsByCount), because others were removed meanwhile.
    /// sweep() then retains those of the listing before.
    [[nodiscard]] bool hasGaps() const { return hasGaps_; }

    /// True if a notification since the last call was ambiguous. The table may then be wrong until the next listing.
    [[nodiscard]] bool takeDoubt() { return std::exchange(isInDoubt_, false); }
    /// True if a route uses the link with this ifindex.
    [[nodiscard]] bool usesLink(uint32_t link) const { return table_.usesLink(link); }
    /// True if a route uses this nexthop object, or a group that contains it.
    [[nodiscard]] bool usesNexthop(uint32_t id) const;

  private:
    using Route = hostd::Route<Family>;
    using NextHop = typename Route::NextHop;
    using RouteEntry = hostd::RouteEntry<Family>;
    using RouteId = hostd::RouteId<Family>;

    /// A route in the table. Valid until the table changes.
    struct StoredRoute {
        int32_t place;
        std::vector<const RouteEntry*> entries;  ///< one for each next hop
        /// True if this is the same route, with the same next hops. Both must have the same RouteId.
        [[nodiscard]] bool is(const Route& route) const;
        /// The entry of a next hop; nullptr when the route doesn't have it.
        [[nodiscard]] const RouteEntry* find(const NextHop& hop) const;
        /// True if both have a next hop in common.
        [[nodiscard]] bool shares(const Route& route) const;
    };
    /// Orders entries by destination, mask and gateway.
    struct ByRoute {
        bool operator()(const RouteEntry& a, const RouteEntry& b) const { return a.key() < b.key(); }
    };

    /// Reads a route's message into read_, with the next hops of its nexthop object. False when it is to be ignored.
    [[nodiscard]] bool read(const nlmsghdr& message);
    /// Applies the notification of a new or changed route.
    /// @param flags  of the message, NLM_F_*
    void applyNew(const Route& route, unsigned flags);
    /// Applies the notification of a removed route.
    void applyGone(const Route& route);
    /// The same where routes are merged (Family::kMergesRoutes).
    /// @param all  the routes in the table with this RouteId, at least one, none of them the same
    void mergeNew(const Route& route, const std::vector<StoredRoute>& all, bool replaces);
    void unmerge(const Route& route);
    /// The routes in the table that have this one's RouteId, in the order of their places.
    [[nodiscard]] std::vector<StoredRoute> stored(const Route& route) const;
    /// Adds the entries of a route.
    void put(const Route& route, int32_t place);
    void insert(const RouteEntry& entry);
    /// Marks a route in the table as listed, and updates whether its next hops are usable.
    void update(const Route& route, const StoredRoute& stored);
    /// @return the removed entries
    std::vector<RouteEntry> remove(const RouteId& id, int32_t place);
    /// True if all next hops of this route have been removed during this listing.
    [[nodiscard]] bool wasRemoved(const Route& route) const;
    [[nodiscard]] Retained retained() const { return {listing_, static_cast<uint8_t>(hasGaps_ ? 1 : 0)}; }

    Table& table_;
    NexthopTable<Family> nexthops_;
    Route read_;  ///< a member, so that its vector's memory is reused

    bool isInDoubt_ = false;
    uint8_t listing_ = 0;  ///< number of the last listing; wraps
    bool isListing_ = false;
    bool hasGaps_ = false;
    bool hasTwins_ = false;  ///< this listing, or the last one, had a route twice; the table has it once
    absl::btree_multiset<RouteEntry, ByRoute> removed_;  ///< entries removed during this listing
    RouteId lastListed_;                                 ///< of the route that was listed last
    int32_t lastPlace_ = INT32_MIN;                      ///< its place
    bool isSweeping_ = false;
    typename Table::Position alternatesAt_;  ///< where the sweep of alternates continues
    typename Table::Position rowsAt_;        ///< where the sweep of rows continues
    size_t swept_ = 0;                       ///< entries
};

}  // namespace hostd
