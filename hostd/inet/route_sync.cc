#include "hostd/inet/route_sync.h"

#include <linux/rtnetlink.h>

#include <algorithm>

namespace hostd {

bool RouteSync::StoredRoute::is(const Route& route) const {
    const RouteEntry& any = *entries.front();
    return any.protocol == route.protocol && any.type == route.type && any.nexthop == route.nexthop &&
           entries.size() == route.hops.size() &&
           std::ranges::all_of(route.hops, [this](const Route::NextHop& hop) { return find(hop) != nullptr; });
}

const RouteEntry* RouteSync::StoredRoute::find(const Route::NextHop& hop) const {
    const auto found = std::ranges::find_if(
        entries, [&](const RouteEntry* entry) { return entry->gateway == hop.gateway && entry->link == hop.link; });
    return found == entries.end() ? nullptr : *found;
}

bool RouteSync::read(const nlmsghdr& message) {
    if (!readRoute(message, read_)) return false;
    nexthops_.resolve(read_);
    return true;
}

bool RouteSync::usesNexthop(uint32_t id) const {
    const auto isUsed = [this](uint32_t one) { return table_.usesNexthop(one); };
    return isUsed(id) || nexthops_.anyGroupOf(id, isUsed);
}

// ---- Notifications

void RouteSync::applyRoute(const nlmsghdr& message) {
    if (message.nlmsg_type != RTM_NEWROUTE && message.nlmsg_type != RTM_DELROUTE) return;
    if (!read(message)) return;
    if (message.nlmsg_type == RTM_NEWROUTE)
        applyNew(read_, message.nlmsg_flags);
    else
        applyGone(read_);
}

// Among routes with the same RouteId, the kernel inserts a new one first, or with NLM_F_APPEND last. With NLM_F_REPLACE
// the new one replaces the first, which the notification doesn't contain.
void RouteSync::applyNew(const Route& route, unsigned flags) {
    const bool replaces = (flags & NLM_F_REPLACE) != 0;
    const std::vector<StoredRoute> all = stored(route);
    for (const StoredRoute& one : all)
        if (one.is(route)) return update(route, one);
    if (all.empty()) {
        if (replaces) isInDoubt_ = true;  // the replaced route isn't known: a listing in progress may still report it
        return put(route, 0);
    }
    if ((flags & NLM_F_APPEND) != 0) return put(route, all.back().place + 1);
    if (!replaces) return put(route, all.front().place - 1);
    if (all.size() > 1) isInDoubt_ = true;  // our order is inferred: the kernel's first route may be another
    remove(RouteId(route), all.front().place);
    put(route, all.front().place);
}

// The notification contains the route's next hops as they are now. If they come from a nexthop object, they may differ
// from the stored ones, since the object may have changed without a notification for the route. A single route with
// this RouteId is the removed one nevertheless.
void RouteSync::applyGone(const Route& route) {
    if (isListing_)
        for (const Route::NextHop& hop : route.hops) removed_.insert(RouteEntry(route, hop, 0, 0));
    const std::vector<StoredRoute> all = stored(route);
    auto gone = std::ranges::find_if(all, [&](const StoredRoute& one) { return one.is(route); });
    if (gone == all.end() && all.size() == 1) gone = all.begin();
    if (gone != all.end())
        remove(RouteId(route), gone->place);
    else if (!all.empty())
        isInDoubt_ = true;
}

// ---- Listings

void RouteSync::beginListing() {
    ++listing_;
    isListing_ = true;
    nexthops_.beginListing();
    removed_.clear();
    lastListed_ = {};
    lastPlace_ = INT32_MIN;
    isSweeping_ = false;
    alternatesAt_ = rowsAt_ = RouteKey{};
    swept_ = 0;
}

// The kernel writes each packet of a listing when the previous one is read. If a packet contains a route whose removal
// has been notified already, the packet was written before the removal, and the route is ignored. Routes with the same
// RouteId are listed in the kernel's order, which corrects the places that were inferred from notifications.
void RouteSync::list(const nlmsghdr& message) {
    nexthops_.list(message);
    if (message.nlmsg_type != RTM_NEWROUTE || !read(message)) return;
    const RouteId id(read_);
    if (id != lastListed_) lastPlace_ = INT32_MIN;
    lastListed_ = id;
    const std::vector<StoredRoute> all = stored(read_);
    const auto listed = std::ranges::find_if(all, [this](const StoredRoute& one) { return one.is(read_); });
    if (listed == all.end() && wasRemoved(read_)) return;
    if (listed != all.end() && listed->place > lastPlace_) {
        lastPlace_ = listed->place;
        return update(read_, *listed);
    }
    lastPlace_ = all.empty() ? 0 : all.back().place + 1;
    if (listed != all.end()) remove(id, listed->place);  // moved behind routes that it was thought to precede
    put(read_, lastPlace_);
}

// When a link or address goes, the kernel removes its routes without a notification for each. They are then missing
// from the listing. Alternates are swept before rows, since removing a row turns an alternate into a row.
bool RouteSync::sweep(size_t max) {
    isSweeping_ = true;
    if (alternatesAt_) {
        swept_ += table_.removeOldAlternates(listing_, alternatesAt_, max);
        return false;
    }
    swept_ += table_.removeOldRows(listing_, rowsAt_, max);
    if (rowsAt_) return false;
    isListing_ = isSweeping_ = false;
    removed_.clear();
    return true;
}

// ---- Changes of the table

std::vector<RouteSync::StoredRoute> RouteSync::stored(const Route& route) const {
    std::vector<StoredRoute> all;
    for (const RouteEntry* entry : table_.entriesOf(RouteId(route))) {
        const auto found = std::ranges::find(all, entry->place, &StoredRoute::place);
        if (found != all.end())
            found->entries.push_back(entry);
        else
            all.push_back({entry->place, {entry}});
    }
    std::ranges::sort(all, {}, &StoredRoute::place);
    return all;
}

void RouteSync::put(const Route& route, int32_t place) {
    for (const Route::NextHop& hop : route.hops) {
        const RouteEntry entry(route, hop, place, listing_);
        // The new entry could turn a row that the sweep is about to remove into an alternate, and the alternates have
        // been swept already.
        if (isSweeping_) swept_ += table_.removeOldRow(listing_, entry.key());
        table_.insert(entry);
    }
}

// If only the carrier has changed, the kernel notifies nothing: the listing shows the change.
void RouteSync::update(const Route& route, const StoredRoute& stored) {
    const bool isUnchanged = std::ranges::all_of(
        route.hops, [&](const Route::NextHop& hop) { return stored.find(hop)->isUsable == hop.isUsable; });
    if (isUnchanged) {
        for (const RouteEntry* entry : stored.entries) entry->listing = listing_;
        return;
    }
    const int32_t place = stored.place;
    remove(RouteId(route), place);
    put(route, place);
}

void RouteSync::remove(const RouteId& id, int32_t place) {
    for (const RouteEntry& entry : table_.remove(id, place))
        if (isListing_) removed_.insert(entry);
}

bool RouteSync::wasRemoved(const Route& route) const {
    return std::ranges::all_of(route.hops, [&](const Route::NextHop& hop) {
        const RouteEntry entry(route, hop, 0, 0);
        const auto [first, last] = removed_.equal_range(entry);
        return std::any_of(first, last, [&](const RouteEntry& removed) { return removed.isLike(entry); });
    });
}

}  // namespace hostd
