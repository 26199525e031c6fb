#pragma once

#include <absl/container/btree_set.h>

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "hostd/inet/route_entry.h"

namespace hostd {

/// The next hops of IPv4 routes, as ordered rows. Each row has a different key: of several next hops with the same key
/// (routes that differ in metric or TOS, say) the one that packets take is the row, the others are alternates, and the
/// best of them becomes the row when that is removed. A next hop that isn't usable is never a row.
class RouteTable {
  public:
    [[nodiscard]] size_t size() const { return rows_.size(); }
    /// The first row whose key isn't below this one, or nullptr. Rows stay where they are until the table changes.
    [[nodiscard]] const RouteEntry* firstFrom(const RouteKey& key) const;
    /// The row after this one, or nullptr. O(1) in a walk.
    [[nodiscard]] const RouteEntry* after(const RouteEntry& row) const;
    /// True if a row or an alternate goes through this link, or refers to this nexthop object.
    [[nodiscard]] bool usesLink(uint32_t link) const { return byLink_.contains(link); }
    [[nodiscard]] bool usesNexthop(uint32_t id) const { return byNexthop_.contains(id); }

    /// The entries of the routes with this id, rows and alternates; valid until the table changes.
    [[nodiscard]] std::vector<const RouteEntry*> entriesOf(const RouteId& id) const;
    void insert(const RouteEntry& entry);
    /// Removes the entries of the route with this id and place, and returns them.
    std::vector<RouteEntry> remove(const RouteId& id, int32_t place);

    /// Where a removal in slices continues; nothing when it has reached the end.
    using Position = std::optional<RouteKey>;
    /// Removes alternates, or rows, whose `listing` isn't this one, and advances the position. Checks about `max` of
    /// them: those that share a key are checked together. @return the number removed
    size_t removeOldAlternates(uint8_t listing, Position& at, size_t max);
    size_t removeOldRows(uint8_t listing, Position& at, size_t max);
    /// Removes the row with this key as long as its `listing` isn't this one. @return the number removed
    size_t removeOldRow(uint8_t listing, const RouteKey& key);

  private:
    struct ByKey {
        using is_transparent = void;
        static RouteKey of(const RouteEntry& entry) { return entry.key(); }
        static const RouteKey& of(const RouteKey& key) { return key; }
        bool operator()(const auto& a, const auto& b) const { return of(a) < of(b); }
    };
    using Rows = absl::btree_set<RouteEntry, ByKey>;
    using Alternates = absl::btree_multiset<RouteEntry, ByKey>;

    template <class Set>
    void removeFrom(Set& set, const RouteId& id, int32_t place, std::vector<RouteEntry>& removed);
    template <class Set>
    size_t removeOld(Set& set, uint8_t listing, Position& position, size_t max);
    Rows::iterator erase(Rows::iterator at);
    Alternates::iterator erase(Alternates::iterator at);
    void count(const RouteEntry& entry, int by);

    Rows rows_;
    Alternates alternates_;
    mutable std::optional<Rows::const_iterator> cursor_;  ///< the row returned last, if nothing has changed since
    std::unordered_map<uint32_t, size_t> byLink_;         ///< number of entries
    std::unordered_map<uint32_t, size_t> byNexthop_;      ///< number of entries
};

}  // namespace hostd
