#include "hostd/inet/route_table.h"

namespace hostd {

template <class Family>
auto RouteTable<Family>::firstFrom(const Key& key) const -> const Entry* {
    cursor_ = rows_.lower_bound(key);
    return *cursor_ == rows_.end() ? nullptr : &**cursor_;
}

template <class Family>
auto RouteTable<Family>::after(const Entry& row) const -> const Entry* {
    const bool isThere = cursor_ && *cursor_ != rows_.end() && &**cursor_ == &row;
    if (!isThere) cursor_ = rows_.find(row.key());
    ++*cursor_;
    return *cursor_ == rows_.end() ? nullptr : &**cursor_;
}

template <class Family>
auto RouteTable<Family>::entriesOf(const RouteId<Family>& id) const -> std::vector<const Entry*> {
    std::vector<const Entry*> all;
    const auto gather = [&](const auto& set) {
        for (auto at = set.lower_bound(id.prefix()); at != set.end() && id.hasPrefixOf(*at); ++at)
            if (id.isOf(*at)) all.push_back(&*at);
    };
    gather(rows_);
    gather(alternates_);
    return all;
}

template <class Family>
void RouteTable<Family>::insert(const Entry& entry) {
    cursor_.reset();
    count(entry, 1);
    if (!entry.isUsable) {
        alternates_.insert(entry);
        return;
    }
    const auto [at, isNew] = rows_.insert(entry);
    if (isNew) return;
    if (!entry.isBetterThan(*at)) {
        alternates_.insert(entry);
        return;
    }
    alternates_.insert(*at);
    rows_.insert(rows_.erase(at), entry);
}

template <class Family>
auto RouteTable<Family>::remove(const RouteId<Family>& id, int32_t place) -> std::vector<Entry> {
    std::vector<Entry> removed;
    removeFrom(alternates_, id, place, removed);  // first: an alternate becomes a row when its row is removed
    removeFrom(rows_, id, place, removed);
    return removed;
}

template <class Family>
template <class Set>
void RouteTable<Family>::removeFrom(Set& set, const RouteId<Family>& id, int32_t place, std::vector<Entry>& removed) {
    auto at = set.lower_bound(id.prefix());
    while (at != set.end() && id.hasPrefixOf(*at)) {
        if (!id.isOf(*at) || at->place != place) {
            ++at;
            continue;
        }
        removed.push_back(*at);
        at = erase(at);
    }
}

template <class Family>
template <class Set>
size_t RouteTable<Family>::removeOld(Set& set, Retained retained, Position& position, size_t max) {
    size_t removed = 0;
    auto at = set.lower_bound(*position);
    for (size_t checked = 0; at != set.end(); ++checked) {
        const bool isOfLastKey = at->key() == *position;
        position = at->key();
        if (checked >= max && !isOfLastKey) return removed;
        if (retained.has(*at)) {
            ++at;
        } else {
            at = erase(at);
            ++removed;
        }
    }
    position.reset();
    return removed;
}

template <class Family>
size_t RouteTable<Family>::removeOldAlternates(Retained retained, Position& at, size_t max) {
    return removeOld(alternates_, retained, at, max);
}

template <class Family>
size_t RouteTable<Family>::removeOldRows(Retained retained, Position& at, size_t max) {
    return removeOld(rows_, retained, at, max);
}

template <class Family>
size_t RouteTable<Family>::removeOldRow(Retained retained, const Key& key) {
    size_t removed = 0;
    for (auto at = rows_.find(key); at != rows_.end() && !retained.has(*at); at = rows_.find(key)) {
        erase(at);
        ++removed;
    }
    return removed;
}

template <class Family>
auto RouteTable<Family>::erase(typename Rows::iterator at) -> typename Rows::iterator {
    cursor_.reset();
    count(*at, -1);
    const auto [first, last] = alternates_.equal_range(at->key());
    const auto next = rows_.erase(at);
    auto best = last;
    for (auto alternate = first; alternate != last; ++alternate)
        if (alternate->isUsable && (best == last || alternate->isBetterThan(*best))) best = alternate;
    if (best == last) return next;
    const Entry promoted = *best;
    alternates_.erase(best);
    return rows_.insert(next, promoted);
}

template <class Family>
auto RouteTable<Family>::erase(typename Alternates::iterator at) -> typename Alternates::iterator {
    count(*at, -1);
    return alternates_.erase(at);
}

template <class Family>
void RouteTable<Family>::count(const Entry& entry, int by) {
    const auto add = [by](std::unordered_map<uint32_t, size_t>& counts, uint32_t id) {
        if (id == 0) return;
        size_t& entries = counts[id];
        entries += static_cast<size_t>(by);
        if (entries == 0) counts.erase(id);
    };
    add(byLink_, entry.link);
    add(byNexthop_, entry.nexthop);
}

template class RouteTable<Ipv4>;
template class RouteTable<Ipv6>;

}  // namespace hostd
