#pragma once

#include <absl/container/btree_set.h>

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "hostd/inet/route_entry.h"

namespace hostd {

/// The next hops of IPv4 routes, as ordered rows with unique keys. Several next hops may have the same key, for
/// instance those of routes that differ in metric or TOS. The best usable one of them is the row
/// (RouteEntry::isBetterThan). The others are alternates: when the row is removed, the best usable alternate becomes
/// the row. A next hop that isn't usable is never a row.
class RouteTable {
  public:
    /// Number of rows, without alternates.
    [[nodiscard]] size_t size() const { return rows_.size(); }
    /// The first row whose key isn't below this one, or nullptr. O(log n). Pointers to rows are valid until the table
    /// changes.
    [[nodiscard]] const RouteEntry* firstFrom(const RouteKey& key) const;
    /// The row that follows this one, or nullptr. O(1) if `row` is the row that was returned last, otherwise O(log n).
    [[nodiscard]] const RouteEntry* after(const RouteEntry& row) const;
    /// True if a row or an alternate uses the link with this ifindex.
    [[nodiscard]] bool usesLink(uint32_t link) const { return byLink_.contains(link); }
    /// True if a row or an alternate belongs to a route that refers to this nexthop object.
    [[nodiscard]] bool usesNexthop(uint32_t id) const { return byNexthop_.contains(id); }

    /// The entries of all routes with this id, rows and alternates. Valid until the table changes.
    [[nodiscard]] std::vector<const RouteEntry*> entriesOf(const RouteId& id) const;
    /// Adds an entry, as a row or as an alternate.
    void insert(const RouteEntry& entry);
    /// Removes the entries of the route with this id and place. @return the removed entries
    std::vector<RouteEntry> remove(const RouteId& id, int32_t place);

    /// Where a removal in slices continues; nothing when it has reached the end of the table.
    using Position = std::optional<RouteKey>;
    /// Removes alternates whose `listing` isn't this one, beginning at the position, which is advanced. Checks about
    /// `max` entries: entries with the same key are checked together. @return number of removed entries
    size_t removeOldAlternates(uint8_t listing, Position& at, size_t max);
    /// The same for rows. An alternate that becomes a row is checked, too.
    size_t removeOldRows(uint8_t listing, Position& at, size_t max);
    /// Removes the row with this key if its `listing` isn't this one, then the alternate that has become the row, and
    /// so on. @return number of removed entries
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
    /// Removes a row. @return the position of the alternate that has replaced it, else of the next row
    Rows::iterator erase(Rows::iterator at);
    Alternates::iterator erase(Alternates::iterator at);
    /// Adds `by`, 1 or -1, to the number of entries with this entry's link and nexthop object.
    void count(const RouteEntry& entry, int by);

    Rows rows_;
    Alternates alternates_;
    mutable std::optional<Rows::const_iterator> cursor_;  ///< the row returned last, unless a row has changed since
    std::unordered_map<uint32_t, size_t> byLink_;         ///< number of entries with this ifindex
    std::unordered_map<uint32_t, size_t> byNexthop_;      ///< number of entries with this nexthop object
};

}  // namespace hostd
