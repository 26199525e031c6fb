#pragma once

#include <absl/container/btree_set.h>

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "hostd/inet/route_entry.h"

namespace hostd {

/// Which entries of a RouteTable a sweep retains: those that have been listed or notified lately.
struct Retained {
    uint8_t listing;      ///< number of the last listing; wraps
    uint8_t earlier = 0;  ///< number of listings before it that count, too
    [[nodiscard]] bool has(const auto& entry) const { return static_cast<uint8_t>(listing - entry.listing) <= earlier; }
};

/// The next hops of routes, as ordered rows with unique keys. Several next hops may have the same key, for
/// instance those of routes that differ in metric or TOS. The best usable one of them is the row
/// (RouteEntry::isBetterThan). The others are alternates: when the row is removed, the best usable alternate becomes
/// the row. A next hop that isn't usable is never a row.
template <class Family>
class RouteTable {
  public:
    using Entry = RouteEntry<Family>;
    using Key = RouteKey<Family>;
    /// Number of rows, without alternates.
    [[nodiscard]] size_t size() const { return rows_.size(); }
    /// The first row whose key isn't below this one, or nullptr. O(log n). Pointers to rows are valid until the table
    /// changes.
    [[nodiscard]] const Entry* firstFrom(const Key& key) const;
    /// The row that follows this one, or nullptr. O(1) if `row` is the row that was returned last, otherwise O(log n).
    [[nodiscard]] const Entry* after(const Entry& row) const;
    /// True if a row or an alternate uses the link with this ifindex.
    [[nodiscard]] bool usesLink(uint32_t link) const { return byLink_.contains(link); }
    /// True if a row or an alternate belongs to a route that refers to this nexthop object.
    [[nodiscard]] bool usesNexthop(uint32_t id) const { return byNexthop_.contains(id); }

    /// The entries of all routes with this id, rows and alternates. Valid until the table changes.
    [[nodiscard]] std::vector<const Entry*> entriesOf(const RouteId<Family>& id) const;
    /// Adds an entry, as a row or as an alternate.
    void insert(const Entry& entry);
    /// Removes the entries of the route with this id and place. @return the removed entries
    std::vector<Entry> remove(const RouteId<Family>& id, int32_t place);

    /// Where a removal in slices continues; nothing when it has reached the end of the table.
    using Position = std::optional<Key>;
    /// Removes alternates that aren't retained, beginning at the position, which is advanced. Checks about
    /// `max` entries: entries with the same key are checked together. @return number of removed entries
    size_t removeOldAlternates(Retained retained, Position& at, size_t max);
    /// The same for rows. An alternate that becomes a row is checked, too.
    size_t removeOldRows(Retained retained, Position& at, size_t max);
    /// Removes the row with this key if it isn't retained, then the alternate that has become the row, and
    /// so on. @return number of removed entries
    size_t removeOldRow(Retained retained, const Key& key);

  private:
    struct ByKey {
        using is_transparent = void;
        static Key of(const Entry& entry) { return entry.key(); }
        static const Key& of(const Key& key) { return key; }
        bool operator()(const auto& a, const auto& b) const { return of(a) < of(b); }
    };
    using Rows = absl::btree_set<Entry, ByKey>;
    using Alternates = absl::btree_multiset<Entry, ByKey>;

    template <class Set>
    void removeFrom(Set& set, const RouteId<Family>& id, int32_t place, std::vector<Entry>& removed);
    template <class Set>
    size_t removeOld(Set& set, Retained retained, Position& position, size_t max);
    /// Removes a row. @return the position of the alternate that has replaced it, else of the next row
    typename Rows::iterator erase(typename Rows::iterator at);
    typename Alternates::iterator erase(typename Alternates::iterator at);
    /// Adds `by`, 1 or -1, to the number of entries with this entry's link and nexthop object.
    void count(const Entry& entry, int by);

    Rows rows_;
    Alternates alternates_;
    mutable std::optional<typename Rows::const_iterator>
        cursor_;                                      ///< the row returned last, unless a row has changed since
    std::unordered_map<uint32_t, size_t> byLink_;     ///< number of entries with this ifindex
    std::unordered_map<uint32_t, size_t> byNexthop_;  ///< number of entries with this nexthop object
};

}  // namespace hostd
