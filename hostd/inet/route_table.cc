#include "hostd/inet/route_table.h"

namespace hostd {

const RouteEntry* RouteTable::firstFrom(const RouteKey& key) const {
    cursor_ = rows_.lower_bound(key);
    return *cursor_ == rows_.end() ? nullptr : &**cursor_;
}

const RouteEntry* RouteTable::after(const RouteEntry& row) const {
    const bool isThere = cursor_ && *cursor_ != rows_.end() && &**cursor_ == &row;
    if (!isThere) cursor_ = rows_.find(row.key());
    ++*cursor_;
    return *cursor_ == rows_.end() ? nullptr : &**cursor_;
}

std::vector<const RouteEntry*> RouteTable::entriesOf(const RouteId& id) const {
    std::vector<const RouteEntry*> all;
    const auto gather = [&](const auto& set) {
        for (auto at = set.lower_bound(id.prefix()); at != set.end() && id.hasPrefixOf(*at); ++at)
            if (id.isOf(*at)) all.push_back(&*at);
    };
    gather(rows_);
    gather(alternates_);
    return all;
}

void RouteTable::insert(const RouteEntry& entry) {
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

std::vector<RouteEntry> RouteTable::remove(const RouteId& id, int32_t place) {
    std::vector<RouteEntry> removed;
    removeFrom(alternates_, id, place, removed);  // first: an alternate becomes a row when its row is removed
    removeFrom(rows_, id, place, removed);
    return removed;
}

template <class Set>
void RouteTable::removeFrom(Set& set, const RouteId& id, int32_t place, std::vector<RouteEntry>& removed) {
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

template <class Set>
size_t RouteTable::removeOld(Set& set, uint8_t listing, Position& position, size_t max) {
    size_t removed = 0;
    auto at = set.lower_bound(*position);
    for (size_t checked = 0; at != set.end(); ++checked) {
        const bool isOfLastKey = at->key() == *position;
        position = at->key();
        if (checked >= max && !isOfLastKey) return removed;
        if (at->listing == listing) {
            ++at;
        } else {
            at = erase(at);
            ++removed;
        }
    }
    position.reset();
    return removed;
}

size_t RouteTable::removeOldAlternates(uint8_t listing, Position& at, size_t max) {
    return removeOld(alternates_, listing, at, max);
}

size_t RouteTable::removeOldRows(uint8_t listing, Position& at, size_t max) {
    return removeOld(rows_, listing, at, max);
}

size_t RouteTable::removeOldRow(uint8_t listing, const RouteKey& key) {
    size_t removed = 0;
    for (auto at = rows_.find(key); at != rows_.end() && at->listing != listing; at = rows_.find(key)) {
        erase(at);
        ++removed;
    }
    return removed;
}

RouteTable::Rows::iterator RouteTable::erase(Rows::iterator at) {
    cursor_.reset();
    count(*at, -1);
    const auto [first, last] = alternates_.equal_range(at->key());
    const auto next = rows_.erase(at);
    auto best = last;
    for (auto alternate = first; alternate != last; ++alternate)
        if (alternate->isUsable && (best == last || alternate->isBetterThan(*best))) best = alternate;
    if (best == last) return next;
    const RouteEntry promoted = *best;
    alternates_.erase(best);
    return rows_.insert(next, promoted);
}

RouteTable::Alternates::iterator RouteTable::erase(Alternates::iterator at) {
    count(*at, -1);
    return alternates_.erase(at);
}

void RouteTable::count(const RouteEntry& entry, int by) {
    const auto add = [by](std::unordered_map<uint32_t, size_t>& counts, uint32_t id) {
        if (id == 0) return;
        size_t& entries = counts[id];
        entries += static_cast<size_t>(by);
        if (entries == 0) counts.erase(id);
    };
    add(byLink_, entry.link);
    add(byNexthop_, entry.nexthop);
}

}  // namespace hostd
