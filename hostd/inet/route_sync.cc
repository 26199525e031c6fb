#include "hostd/inet/route_sync.h"

#include <linux/rtnetlink.h>

#include <algorithm>

namespace hostd {

template <class Family>
bool RouteSync<Family>::StoredRoute::is(const Route& route) const {
    const RouteEntry& any = *entries.front();
    return any.protocol == route.protocol && any.type == route.type && any.nexthop == route.nexthop &&
           entries.size() == route.hops.size() &&
           std::ranges::all_of(route.hops, [this](const NextHop& hop) { return find(hop) != nullptr; });
}

template <class Family>
auto RouteSync<Family>::StoredRoute::find(const NextHop& hop) const -> const RouteEntry* {
    const auto found = std::ranges::find_if(entries, [&](const RouteEntry* entry) { return entry->isOf(hop); });
    return found == entries.end() ? nullptr : *found;
}

template <class Family>
bool RouteSync<Family>::StoredRoute::shares(const Route& route) const {
    return std::ranges::any_of(route.hops, [this](const NextHop& hop) { return find(hop) != nullptr; });
}

template <class Family>
bool RouteSync<Family>::read(const nlmsghdr& message) {
    if (!readRoute<Family>(message, read_)) return false;
    nexthops_.resolve(read_);
    return true;
}

template <class Family>
bool RouteSync<Family>::usesNexthop(uint32_t id) const {
    const auto isUsed = [this](uint32_t one) { return table_.usesNexthop(one); };
    return isUsed(id) || nexthops_.anyGroupOf(id, isUsed);
}

// ---- Notifications

template <class Family>
void RouteSync<Family>::applyRoute(const nlmsghdr& message) {
    if (message.nlmsg_type != RTM_NEWROUTE && message.nlmsg_type != RTM_DELROUTE) return;
    if (!read(message)) return;
    if (message.nlmsg_type == RTM_NEWROUTE)
        applyNew(read_, message.nlmsg_flags);
    else
        applyGone(read_);
}

// Among routes with the same RouteId, the kernel inserts a new one first, or with NLM_F_APPEND last. With NLM_F_REPLACE
// the new one replaces the first, which the notification doesn't contain.
template <class Family>
void RouteSync<Family>::applyNew(const Route& route, unsigned flags) {
    const bool replaces = (flags & NLM_F_REPLACE) != 0;
    const std::vector<StoredRoute> all = stored(route);
    for (const StoredRoute& one : all) {
        if (!one.is(route)) continue;
        // The kernel may now have it twice: it has replaced the first of the routes.
        if (Family::kMergesRoutes && replaces && all.size() > 1) isInDoubt_ = true;
        return update(route, one);
    }
    if (all.empty()) {
        if (replaces) isInDoubt_ = true;  // the replaced route isn't known: a listing in progress may still report it
        return put(route, 0);
    }
    if constexpr (Family::kMergesRoutes) return mergeNew(route, all, replaces);
    if ((flags & NLM_F_APPEND) != 0) return put(route, all.back().place + 1);
    if (!replaces) return put(route, all.front().place - 1);
    if (all.size() > 1) isInDoubt_ = true;  // our order is inferred: the kernel's first route may be another
    remove(RouteId(route), all.front().place);
    put(route, all.front().place);
}

// The notification contains the route's next hops as they are now. If they come from a nexthop object, they may differ
// from the stored ones, since the object may have changed without a notification for the route. A single route with
// this RouteId is the removed one nevertheless.
template <class Family>
void RouteSync<Family>::applyGone(const Route& route) {
    if (isListing_) {
        for (const NextHop& hop : route.hops) removed_.insert(RouteEntry(route, hop, 0, 0));
        hasGaps_ = Family::kListsByCount;
    }
    if constexpr (Family::kMergesRoutes) return unmerge(route);
    const std::vector<StoredRoute> all = stored(route);
    auto gone = std::ranges::find_if(all, [&](const StoredRoute& one) { return one.is(route); });
    if (gone == all.end() && all.size() == 1) gone = all.begin();
    if (gone != all.end())
        remove(RouteId(route), gone->place);
    else if (!all.empty())
        isInDoubt_ = true;
}

// A notification names all next hops that the route has now. NLM_F_REPLACE replaces the first route that has, or lacks,
// gateways as the new one does, else the first one.
template <class Family>
void RouteSync<Family>::mergeNew(const Route& route, const std::vector<StoredRoute>& all, bool replaces) {
    const auto hasGateways = [](const StoredRoute& one) { return one.entries.front()->hasGateway; };
    if (replaces && all.size() > 1) isInDoubt_ = true;  // which one was replaced is inferred, and so is their order
    auto former = std::ranges::find_if(all, [&](const StoredRoute& one) { return one.shares(route); });
    if (former == all.end() && replaces) {
        former = std::ranges::find(all, route.hops.front().hasGateway, hasGateways);
        if (former == all.end()) former = all.begin();
    }
    if (former == all.end()) return put(route, all.back().place + 1);
    const int32_t place = former->place;
    remove(RouteId(route), place);
    put(route, place);
}

// A notification names the next hops that have gone. The others stay, as another route, so that a packet of a listing
// from before is recognized as outdated.
template <class Family>
void RouteSync<Family>::unmerge(const Route& route) {
    const std::vector<StoredRoute> all = stored(route);
    auto former = std::ranges::find_if(all, [&](const StoredRoute& one) { return one.shares(route); });
    if (hasTwins_) isInDoubt_ = true;            // the kernel may still have another
    const bool isByObject = route.nexthop != 0;  // whose next hops may have changed without a notification
    if (former == all.end() && all.size() == 1 && isByObject) former = all.begin();
    if (former == all.end()) {
        if (!all.empty()) isInDoubt_ = true;
        return;
    }
    for (const RouteEntry& entry : remove(RouteId(route), former->place)) {
        const bool hasGone = std::ranges::any_of(route.hops, [&](const NextHop& hop) { return entry.isOf(hop); });
        if (!hasGone && !isByObject) insert(entry);
    }
}

// ---- Listings

template <class Family>
void RouteSync<Family>::beginListing() {
    ++listing_;
    isListing_ = true;
    nexthops_.beginListing();
    removed_.clear();
    lastListed_ = {};
    lastPlace_ = INT32_MIN;
    isSweeping_ = false;
    alternatesAt_ = rowsAt_ = typename Table::Key{};
    swept_ = 0;
    hasGaps_ = hasTwins_ = false;
}

// The kernel writes each packet of a listing when the previous one is read. If a packet contains a route whose removal
// has been notified already, the packet was written before the removal, and the route is ignored. Routes with the same
// RouteId are listed in the kernel's order, which corrects the places that were inferred from notifications.
template <class Family>
void RouteSync<Family>::list(const nlmsghdr& message) {
    nexthops_.list(message);
    if (message.nlmsg_type != RTM_NEWROUTE || !read(message)) return;
    const RouteId id(read_);
    if (id != lastListed_) lastPlace_ = INT32_MIN;
    lastListed_ = id;
    const std::vector<StoredRoute> all = stored(read_);
    auto listed = std::ranges::find_if(all, [this](const StoredRoute& one) { return one.is(read_); });
    if (listed == all.end() && wasRemoved(read_)) return;
    if (Family::kMergesRoutes && listed == all.end())  // next hops were added or removed: that is notified later
        listed = std::ranges::find_if(all, [this](const StoredRoute& one) { return one.shares(read_); });
    if (listed != all.end() && listed->place == lastPlace_) hasTwins_ = true;
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
template <class Family>
bool RouteSync<Family>::sweep(size_t max) {
    isSweeping_ = true;
    if (alternatesAt_) {
        swept_ += table_.removeOldAlternates(retained(), alternatesAt_, max);
        return false;
    }
    swept_ += table_.removeOldRows(retained(), rowsAt_, max);
    if (rowsAt_) return false;
    isListing_ = isSweeping_ = false;
    removed_.clear();
    return true;
}

// ---- Changes of the table

template <class Family>
auto RouteSync<Family>::stored(const Route& route) const -> std::vector<StoredRoute> {
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

template <class Family>
void RouteSync<Family>::put(const Route& route, int32_t place) {
    for (const NextHop& hop : route.hops) insert(RouteEntry(route, hop, place, listing_));
}

template <class Family>
void RouteSync<Family>::insert(const RouteEntry& entry) {
    entry.listing = listing_;
    // The new entry could turn a row that the sweep is about to remove into an alternate, and the alternates have been
    // swept already.
    if (isSweeping_) swept_ += table_.removeOldRow(retained(), entry.key());
    table_.insert(entry);
}

// If only the carrier has changed, the kernel notifies nothing: the listing shows the change.
template <class Family>
void RouteSync<Family>::update(const Route& route, const StoredRoute& stored) {
    const bool isUnchanged = stored.is(route) && std::ranges::all_of(route.hops, [&](const NextHop& hop) {
                                 return stored.find(hop)->isUsable == hop.isUsable;
                             });
    if (isUnchanged) {
        for (const RouteEntry* entry : stored.entries) entry->listing = listing_;
        return;
    }
    const int32_t place = stored.place;
    remove(RouteId(route), place);
    put(route, place);
}

template <class Family>
auto RouteSync<Family>::remove(const RouteId& id, int32_t place) -> std::vector<RouteEntry> {
    std::vector<RouteEntry> removed = table_.remove(id, place);
    if (isListing_) removed_.insert(removed.begin(), removed.end());
    return removed;
}

template <class Family>
bool RouteSync<Family>::wasRemoved(const Route& route) const {
    return std::ranges::all_of(route.hops, [&](const NextHop& hop) {
        const RouteEntry entry(route, hop, 0, 0);
        const auto [first, last] = removed_.equal_range(entry);
        return std::any_of(first, last, [&](const RouteEntry& removed) { return removed.isLike(entry); });
    });
}

template class RouteSync<Ipv4>;
template class RouteSync<Ipv6>;

}  // namespace hostd
