#pragma once

#include <absl/container/btree_set.h>

#include <compare>
#include <cstdint>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "hostd/inet/nexthop_table.h"
#include "hostd/inet/route.h"

namespace hostd {

/// What tells the rows of a RouteTable apart, and their order: destination, mask, gateway, each unsigned.
struct RouteKey {
    uint32_t destination = 0;
    uint8_t length = 0;  ///< masks order as their lengths do
    uint32_t gateway = 0;
    friend auto operator<=>(const RouteKey& a, const RouteKey& b) {
        return std::tie(a.destination, a.length, a.gateway) <=> std::tie(b.destination, b.length, b.gateway);
    }
    friend bool operator==(const RouteKey&, const RouteKey&) = default;
};

/// One next hop of one route, in 32 octets.
struct RouteEntry {
    uint32_t destination, gateway, metric, link, nexthop;
    uint8_t length, tos, protocol;
    uint8_t type : 6;
    bool hasGateway : 1;
    bool isUsable : 1;
    int32_t place;            ///< among the routes of the same prefix, TOS and metric, in their order
    mutable uint8_t listing;  ///< the last one that had it; set without moving the entry

    RouteEntry(const Route& route, const Route::NextHop& hop, int32_t placed, uint8_t listed);
    [[nodiscard]] RouteKey key() const { return {destination, length, gateway}; }
    /// Whether this is a next hop of one and the same route, as far as can be seen.
    [[nodiscard]] bool isLike(const RouteEntry& other) const;
    /// Whether packets rather take this one of two with the same key.
    [[nodiscard]] bool isBetterThan(const RouteEntry& other) const;
};

/// The IPv4 routes of the main table, kept up to date by the messages given to it, in order.
///
/// Its rows have each a key of their own. Of several next hops with the same key (routes that differ in metric or TOS,
/// say) the one that packets take is the row, and the next one takes its place when it goes. A next hop whose link is
/// down or without carrier is no row.
///
/// The kernel's own key of a route is prefix, TOS and metric, and even these several routes may share (`ip route
/// append`); a replacement then means the first of them.
class RouteTable {
  public:
    /// Applies RTM_NEWROUTE, RTM_DELROUTE, RTM_NEWNEXTHOP and RTM_DELNEXTHOP as notifications; ignores other messages.
    /// When a nexthop object changes, routes through it stay unchanged until they are listed anew.
    void take(const nlmsghdr& message);

    /// A new listing: first every nexthop object, then every route, while notifications continue. Then sweep() removes
    /// the routes that were neither listed nor notified, checking `most` entries a call; true when it has checked all.
    void beginListing();
    void list(const nlmsghdr& message);
    void endNexthops() { nexthops_.endListing(); }
    [[nodiscard]] bool sweep(size_t most);
    [[nodiscard]] size_t swept() const { return swept_; }  ///< entries removed since beginListing()

    /// Whether something was told that can't be followed exactly, so that routes should be listed anew. Asked once.
    [[nodiscard]] bool takeDoubt() { return std::exchange(isInDoubt_, false); }
    [[nodiscard]] bool usesLink(uint32_t link) const { return byLink_.contains(link); }
    /// Whether routes go through this nexthop object, or a group that contains it.
    [[nodiscard]] bool usesNexthop(uint32_t id) const;

    [[nodiscard]] size_t size() const { return rows_.size(); }
    /// The first row whose key isn't below this one, or nullptr. Rows stay where they are until the table changes.
    [[nodiscard]] const RouteEntry* firstFrom(const RouteKey& key) const;
    /// The row after this one, or nullptr. O(1) in a walk.
    [[nodiscard]] const RouteEntry* after(const RouteEntry& row) const;

  private:
    struct ByKey {
        using is_transparent = void;
        static RouteKey of(const RouteEntry& entry) { return entry.key(); }
        static const RouteKey& of(const RouteKey& key) { return key; }
        bool operator()(const auto& a, const auto& b) const { return of(a) < of(b); }
    };
    using Rows = absl::btree_set<RouteEntry, ByKey>;
    using Spares = absl::btree_multiset<RouteEntry, ByKey>;
    /// The kernel's key of a route.
    struct Id {
        uint32_t destination = 0, metric = 0;
        uint8_t length = 0, tos = 0;
        Id() = default;
        explicit Id(const Route& route)
            : destination(route.destination), metric(route.metric), length(route.length), tos(route.tos) {}
        friend bool operator==(const Id&, const Id&) = default;
        [[nodiscard]] RouteKey prefix() const { return {destination, length, 0}; }
        [[nodiscard]] bool isPrefixOf(const RouteEntry& entry) const {
            return entry.destination == destination && entry.length == length;
        }
        [[nodiscard]] bool isOf(const RouteEntry& entry) const { return entry.metric == metric && entry.tos == tos; }
    };
    /// The entries of one route.
    struct Known {
        int32_t place;
        std::vector<const RouteEntry*> entries;
        [[nodiscard]] bool is(const Route& route) const;
        [[nodiscard]] const RouteEntry* find(const Route::NextHop& hop) const;
    };

    void takeNew(const Route& route, unsigned flags);
    void takeGone(const Route& route);
    /// The routes that share this one's id, the first one first.
    [[nodiscard]] std::vector<Known> known(const Route& route) const;
    [[nodiscard]] bool read(const nlmsghdr& message);
    void put(const Route& route, int32_t place);
    void update(const Route& route, const Known& known);
    [[nodiscard]] bool wasRemoved(const Route& route) const;
    void remove(const Id& id, int32_t place);
    template <class Set>
    void removeFrom(Set& set, const Id& id, int32_t place);
    template <class Set>
    [[nodiscard]] bool sweepIn(Set& set, size_t most);

    void insert(const RouteEntry& entry);
    Rows::iterator erase(Rows::iterator at);
    Spares::iterator erase(Spares::iterator at);
    void count(const RouteEntry& entry, int by);

    Rows rows_;
    Spares spares_;                                       ///< next hops that exist and are no rows
    mutable std::optional<Rows::const_iterator> cursor_;  ///< the row last given out, when nothing has changed since
    std::unordered_map<uint32_t, size_t> byLink_;         ///< entries of each
    std::unordered_map<uint32_t, size_t> byNexthop_;
    NexthopTable nexthops_;
    Route read_;

    uint8_t listing_ = 0;
    bool isListing_ = false;
    bool isInDoubt_ = false;
    Spares removed_;  ///< by notifications, during this listing: where it has them, that is older
    Id lastListed_;
    int32_t lastPlace_ = INT32_MIN;  ///< of that one
    RouteKey sweepAt_;
    bool isSweeping_ = false;
    bool areSparesSwept_ = false;
    size_t swept_ = 0;
};

}  // namespace hostd
