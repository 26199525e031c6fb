#include "hostd/links/link_table.h"

#include <linux/rtnetlink.h>

#include <algorithm>
#include <utility>

#include "contracts/interfaces.h"
#include "hostd/links/net_dev.h"

namespace hostd {

namespace interfaces = contracts::interfaces;

LinkTable::LinkTable(IsWireless isWireless, StatusChanged statusChanged)
    : isWireless_(std::move(isWireless)), statusChanged_(std::move(statusChanged)) {}

void LinkTable::apply(const nlmsghdr& message, std::chrono::milliseconds now) {
    if (message.nlmsg_type == RTM_NEWLINK) {
        applyNew(message, now);
    } else if (message.nlmsg_type == RTM_DELLINK) {
        const auto gone = readGoneLink(message);
        if (gone && find(*gone) != nullptr) remove(place(*gone), now);
    } else if (message.nlmsg_type == RTM_NEWSTATS) {
        if (Link* link = find(countedLink(message))) (void)readCounters(message, now, *link);
    }
}

void LinkTable::applyNetDev(std::string_view text, std::chrono::milliseconds now) {
    const auto read = parseNetDev(text);
    for (const Entry& entry : links_) {
        const auto found = read.find(entry.link->name);
        if (found == read.end()) continue;
        rtnl_link_stats64 counters = entry.link->counters;
        updateCounters(found->second, counters);
        setCounters(counters, now, *entry.link);
    }
}

void LinkTable::applyNew(const nlmsghdr& message, std::chrono::milliseconds now) {
    Link read;
    if (!readLink(message, now, read)) return;
    const size_t at = place(read.index);
    if (!isAt(at, read.index)) {
        insert(at, std::move(read), now);
        return;
    }
    Link& link = *links_[at].link;
    const uint32_t before = link.status();
    const bool wasRunning = link.isRunning();
    const bool isRadio = link.kind == interfaces::kind::Wireless;
    (void)readLink(message, now, link);
    if (isRadio && link.kind == interfaces::kind::Ethernet) link.kind = interfaces::kind::Wireless;
    links_[at].isListed = true;
    ++version_;
    if (link.isRunning() != wasRunning) link.changedAt = timeOfChange(now);
    if (link.status() != before) statusChanged_(link, before, link.status());
}

void LinkTable::insert(size_t at, Link link, std::chrono::milliseconds now) {
    if (link.kind == interfaces::kind::Ethernet && link.hasDriver && isWireless_(link.name))
        link.kind = interfaces::kind::Wireless;
    membersChangedAt_ = link.changedAt = link.discontinuityAt = timeOfChange(now);
    const uint32_t index = link.index;
    const auto entry = links_.insert(links_.begin() + static_cast<std::ptrdiff_t>(at),
                                     {index, true, std::make_unique<Link>(std::move(link))});
    ++version_;
    if (entry->link->status() != 0) statusChanged_(*entry->link, 0, entry->link->status());
}

void LinkTable::remove(size_t at, std::chrono::milliseconds now) {
    const Entry gone = std::move(links_[at]);
    links_.erase(links_.begin() + static_cast<std::ptrdiff_t>(at));
    ++version_;
    membersChangedAt_ = timeOfChange(now);
    if (gone.link->status() != 0) statusChanged_(*gone.link, gone.link->status(), 0);
}

void LinkTable::beginListing() {
    for (Entry& entry : links_) entry.isListed = false;
}

void LinkTable::endListing(bool isWhole) {
    if (!isWhole) return;
    for (size_t at = links_.size(); at-- > 0;)
        if (!links_[at].isListed) remove(at, tn::sinceBoot());
    isListed_ = true;
}

const Link* LinkTable::find(uint32_t index) const {
    const size_t at = place(index);
    return isAt(at, index) ? links_[at].link.get() : nullptr;
}

Link* LinkTable::find(uint32_t index) {
    const size_t at = place(index);
    return isAt(at, index) ? links_[at].link.get() : nullptr;
}

const Link* LinkTable::drivenUnder(const Link& link) const {
    const Link* under = &link;
    for (size_t steps = 0; under != nullptr && !under->hasDriver; ++steps)
        under = under->lower == 0 || steps > links_.size() ? nullptr : find(under->lower);
    return under;
}

const Link* LinkTable::firstFrom(uint32_t index) const {
    const size_t at = place(index);
    return at < links_.size() ? links_[at].link.get() : nullptr;
}

bool LinkTable::isAt(size_t at, uint32_t index) const { return at < links_.size() && links_[at].index == index; }

size_t LinkTable::place(uint32_t index) const {
    if (isAt(last_, index)) return last_;
    // A step of a walk: the index is above that of the last look-up's link, and at most that of the next link.
    const bool isNext = last_ + 1 < links_.size() && links_[last_].index < index && links_[last_ + 1].index >= index;
    if (isNext) return ++last_;
    const auto found = std::ranges::lower_bound(links_, index, {}, &Entry::index);
    return last_ = static_cast<size_t>(found - links_.begin());
}

}  // namespace hostd
