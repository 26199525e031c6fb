#include "hostd/inet/route_table.h"

#include <linux/rtnetlink.h>

#include <algorithm>

namespace hostd {

RouteEntry::RouteEntry(const Route& route, const Route::NextHop& hop, int32_t placed, uint8_t listed)
    : destination(route.destination),
      gateway(hop.gateway),
      metric(route.metric),
      link(hop.link),
      nexthop(route.nexthop),
      length(route.length),
      tos(route.tos),
      protocol(route.protocol),
      type(route.type & 0x3f),
      hasGateway(hop.hasGateway),
      isUsable(hop.isUsable),
      place(placed),
      listing(listed) {}

bool RouteEntry::isBetterThan(const RouteEntry& other) const {
    // A route for one TOS carries few packets, whatever its metric.
    const auto rank = [](const RouteEntry& entry) {
        return std::tuple(entry.tos != 0, entry.metric, entry.place, entry.link);
    };
    return rank(*this) < rank(other);
}

bool RouteEntry::isLike(const RouteEntry& other) const {
    const auto all = [](const RouteEntry& entry) {
        return std::tuple(entry.metric, entry.link, entry.nexthop, entry.tos, entry.protocol, entry.type);
    };
    return key() == other.key() && all(*this) == all(other);
}

bool RouteTable::Known::is(const Route& route) const {
    const RouteEntry& any = *entries.front();
    return any.protocol == route.protocol && any.type == route.type && any.nexthop == route.nexthop &&
           entries.size() == route.hops.size() &&
           std::ranges::all_of(route.hops, [this](const Route::NextHop& hop) { return find(hop) != nullptr; });
}

const RouteEntry* RouteTable::Known::find(const Route::NextHop& hop) const {
    const auto found = std::ranges::find_if(
        entries, [&](const RouteEntry* entry) { return entry->gateway == hop.gateway && entry->link == hop.link; });
    return found == entries.end() ? nullptr : *found;
}

bool RouteTable::read(const nlmsghdr& message) {
    if (!readRoute(message, read_)) return false;
    nexthops_.resolve(read_);
    return true;
}

bool RouteTable::usesNexthop(uint32_t id) const {
    const auto isUsed = [this](uint32_t one) { return byNexthop_.contains(one); };
    return isUsed(id) || nexthops_.anyGroupOf(id, isUsed);
}

void RouteTable::take(const nlmsghdr& message) {
    nexthops_.take(message);
    if (message.nlmsg_type != RTM_NEWROUTE && message.nlmsg_type != RTM_DELROUTE) return;
    if (!read(message)) return;
    if (message.nlmsg_type == RTM_NEWROUTE)
        takeNew(read_, message.nlmsg_flags);
    else
        takeGone(read_);
}

void RouteTable::takeNew(const Route& route, unsigned flags) {
    const bool replaces = (flags & NLM_F_REPLACE) != 0;
    const std::vector<Known> all = known(route);
    for (const Known& one : all)
        if (one.is(route)) return update(route, one);
    if (all.empty()) {
        if (replaces) isInDoubt_ = true;  // what it has replaced may still be listed
        return put(route, 0);
    }
    if ((flags & NLM_F_APPEND) != 0) return put(route, all.back().place + 1);
    if (!replaces) return put(route, all.front().place - 1);
    if (all.size() > 1) isInDoubt_ = true;  // which of them is the first one has been inferred
    remove(Id(route), all.front().place);
    put(route, all.front().place);
}

void RouteTable::takeGone(const Route& route) {
    if (isListing_)
        for (const Route::NextHop& hop : route.hops) removed_.insert(RouteEntry(route, hop, 0, 0));
    const std::vector<Known> all = known(route);
    auto gone = std::ranges::find_if(all, [&](const Known& one) { return one.is(route); });
    if (gone == all.end() && all.size() == 1) gone = all.begin();  // whose next hops changed unnoticed
    if (gone != all.end())
        remove(Id(route), gone->place);
    else if (!all.empty())
        isInDoubt_ = true;
}

void RouteTable::beginListing() {
    ++listing_;
    isListing_ = true;
    nexthops_.beginListing();
    removed_.clear();
    sweepAt_ = {};
    isSweeping_ = areSparesSwept_ = false;
    swept_ = 0;
}

void RouteTable::list(const nlmsghdr& message) {
    nexthops_.list(message);
    if (message.nlmsg_type != RTM_NEWROUTE || !read(message)) return;
    const Id id(read_);
    if (id != lastListed_) lastPlace_ = INT32_MIN;
    lastListed_ = id;
    const std::vector<Known> all = known(read_);
    const auto listed = std::ranges::find_if(all, [this](const Known& one) { return one.is(read_); });
    if (listed == all.end() && wasRemoved(read_)) return;
    if (listed != all.end() && listed->place > lastPlace_) {
        lastPlace_ = listed->place;
        return update(read_, *listed);
    }
    lastPlace_ = all.empty() ? 0 : all.back().place + 1;
    if (listed != all.end()) remove(id, listed->place);  // it stands behind those that were thought to follow it
    put(read_, lastPlace_);
}

bool RouteTable::sweep(size_t most) {
    isSweeping_ = true;
    // Spares first, since they move up where rows go.
    if (!areSparesSwept_) {
        areSparesSwept_ = sweepIn(spares_, most);
        return false;
    }
    if (!sweepIn(rows_, most)) return false;
    isListing_ = isSweeping_ = false;
    removed_.clear();
    return true;
}

template <class Set>
bool RouteTable::sweepIn(Set& set, size_t most) {
    auto at = set.lower_bound(sweepAt_);
    for (size_t looked = 0; at != set.end(); ++looked) {
        const bool isOfLastKey = at->key() == sweepAt_;  // what shares a key isn't parted
        sweepAt_ = at->key();
        if (looked >= most && !isOfLastKey) return false;
        if (at->listing == listing_) {
            ++at;
        } else {
            at = erase(at);
            ++swept_;
        }
    }
    sweepAt_ = {};
    return true;
}

std::vector<RouteTable::Known> RouteTable::known(const Route& route) const {
    std::vector<Known> all;
    const Id id(route);
    const auto gather = [&](const auto& set) {
        for (auto at = set.lower_bound(id.prefix()); at != set.end() && id.isPrefixOf(*at); ++at) {
            if (!id.isOf(*at)) continue;
            const auto found = std::ranges::find(all, at->place, &Known::place);
            if (found != all.end())
                found->entries.push_back(&*at);
            else
                all.push_back({at->place, {&*at}});
        }
    };
    gather(rows_);
    gather(spares_);
    std::ranges::sort(all, {}, &Known::place);
    return all;
}

void RouteTable::put(const Route& route, int32_t place) {
    for (const Route::NextHop& hop : route.hops) insert(RouteEntry(route, hop, place, listing_));
}

void RouteTable::update(const Route& route, const Known& known) {
    const bool isAsItWas = std::ranges::all_of(
        route.hops, [&](const Route::NextHop& hop) { return known.find(hop)->isUsable == hop.isUsable; });
    if (isAsItWas) {
        for (const RouteEntry* entry : known.entries) entry->listing = listing_;
        return;
    }
    remove(Id(route), known.place);
    put(route, known.place);
}

void RouteTable::remove(const Id& id, int32_t place) {
    removeFrom(spares_, id, place);
    removeFrom(rows_, id, place);
}

template <class Set>
void RouteTable::removeFrom(Set& set, const Id& id, int32_t place) {
    auto at = set.lower_bound(id.prefix());
    while (at != set.end() && id.isPrefixOf(*at)) {
        if (!id.isOf(*at) || at->place != place) {
            ++at;
            continue;
        }
        if (isListing_) removed_.insert(*at);
        at = erase(at);
    }
}

bool RouteTable::wasRemoved(const Route& route) const {
    return std::ranges::all_of(route.hops, [&](const Route::NextHop& hop) {
        const RouteEntry entry(route, hop, 0, 0);
        const auto [first, last] = removed_.equal_range(entry.key());
        return std::any_of(first, last, [&](const RouteEntry& removed) { return removed.isLike(entry); });
    });
}

void RouteTable::insert(const RouteEntry& entry) {
    cursor_.reset();
    count(entry, 1);
    if (!entry.isUsable) {
        spares_.insert(entry);
        return;
    }
    const auto [at, isNew] = rows_.insert(entry);
    if (isNew) return;
    if (!entry.isBetterThan(*at)) {
        spares_.insert(entry);
        return;
    }
    if (isSweeping_ && at->listing != listing_) {  // among the spares it might be behind the sweep
        count(*at, -1);
        ++swept_;
    } else {
        spares_.insert(*at);
    }
    rows_.insert(rows_.erase(at), entry);
}

/// What stands at that place afterwards: the best spare with the same key, or the next row.
RouteTable::Rows::iterator RouteTable::erase(Rows::iterator at) {
    cursor_.reset();
    count(*at, -1);
    const auto [first, last] = spares_.equal_range(at->key());
    const auto next = rows_.erase(at);
    auto best = last;
    for (auto spare = first; spare != last; ++spare)
        if (spare->isUsable && (best == last || spare->isBetterThan(*best))) best = spare;
    if (best == last) return next;
    const RouteEntry up = *best;
    spares_.erase(best);
    return rows_.insert(next, up);
}

RouteTable::Spares::iterator RouteTable::erase(Spares::iterator at) {
    count(*at, -1);
    return spares_.erase(at);
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

}  // namespace hostd
