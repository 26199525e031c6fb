#include "hostd/inet/route_monitor.h"

#include <net/if.h>  // before <linux/if.h>, which then leaves out what it defines

#include <linux/if.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "hostd/log.h"

namespace hostd {

namespace {

constexpr int kReceiveBuffer = 16 * 1024 * 1024;  // octets; the kernel doubles it: enough for 40,000 notifications
constexpr size_t kPacketsListed = 1;              // in a slice: up to 32 KiB, some hundred routes
constexpr size_t kPacketsSettled = 256;           // in a slice
constexpr size_t kEntriesSwept = 20'000;          // in a slice
constexpr unsigned kLinkState = IFF_UP | IFF_RUNNING | IFF_LOWER_UP;
constexpr unsigned kGroups = RTMGRP_LINK | 1U << (RTNLGRP_NEXTHOP - 1);  // beside Family::kGroups

}  // namespace

template <class Family>
bool RouteMonitor<Family>::open(Time now) {
    tried_ = now;
    if (!notices_->open(NETLINK_ROUTE, Family::kGroups | kGroups, kReceiveBuffer)) {
        if (!std::exchange(isOpenLogged_, true))
            hostLog << Family::kRoutes << ": no netlink socket: " << std::strerror(errno);
        return false;
    }
    isOpenLogged_ = false;
    beginListing(now);
    return true;
}

template <class Family>
auto RouteMonitor<Family>::due() const -> Time {
    // After a loss, the kernel drops further notifications without another report until the queue has been emptied.
    if (state_ != State::Idle || isBehind_) return Time{0};
    return isWanted_ ? std::max(wantedAt_, earliest_) : kNever;
}

// ---- Notifications

template <class Family>
bool RouteMonitor<Family>::drain(Time now, size_t packets) {
    if (!isOpen()) {
        if (now - tried_ >= kInterval) open(now);
        return true;
    }
    const auto outcome = notices_->receive(packets, [&](const nlmsghdr& message) { apply(message, now); });
    switch (outcome) {
        case NetlinkSocket::Outcome::Empty:
            isBehind_ = false;
            // All changes from before the listing's end have been applied: routes neither listed nor notified are gone.
            if (state_ == State::Settling) state_ = State::Sweeping;
            break;
        case NetlinkSocket::Outcome::Full:
            break;
        case NetlinkSocket::Outcome::Overrun:
        case NetlinkSocket::Outcome::Failed:
            recordLoss(now);
            break;
    }
    if (sync_.takeDoubt()) want(now);
    return outcome == NetlinkSocket::Outcome::Empty;
}

template <class Family>
void RouteMonitor<Family>::recordLoss(Time now) {
    if (!std::exchange(wereLost_, true)) hostLog << Family::kRoutes << ": notifications lost: listing again";
    isBehind_ = true;
    doubt(now, "notifications lost");
    want(now);
    earliest_ = std::max(earliest_, begun_ + kInterval);
}

template <class Family>
void RouteMonitor<Family>::doubt(Time now, std::string problem) {
    if (current_ && problem_.empty()) current_ = now;
    problem_ = std::move(problem);
}

template <class Family>
ReadingState RouteMonitor<Family>::readingState(Time now) const {
    ReadingState state{.name = Family::kRoutes, .age = {}, .problem = isOpenLogged_ ? "no netlink socket" : problem_};
    if (current_) state.age = state.problem.empty() ? Time(0) : now - *current_;
    return state;
}

template <class Family>
void RouteMonitor<Family>::apply(const nlmsghdr& message, Time now) {
    switch (message.nlmsg_type) {
        case RTM_NEWLINK:
        case RTM_DELLINK:
            return applyLink(message, now);
        case RTM_DELADDR:
            return applyGoneAddress(message, now);
        case RTM_NEWNEXTHOP:
        case RTM_DELNEXTHOP:
            return applyNexthop(message, now);
        default:
            sync_.applyRoute(message);
    }
}

template <class Family>
void RouteMonitor<Family>::applyLink(const nlmsghdr& message, Time now) {
    const auto* about = payload<ifinfomsg>(message);
    if (about == nullptr || about->ifi_family != AF_UNSPEC) return;
    const auto link = static_cast<uint32_t>(about->ifi_index);
    const unsigned flags = about->ifi_flags & kLinkState;
    const bool isGone = message.nlmsg_type == RTM_DELLINK;
    const auto before = linkFlags_.find(link);
    const bool isUnchanged = before != linkFlags_.end() && before->second == flags;
    if (isGone)
        linkFlags_.erase(link);
    else
        linkFlags_[link] = flags;
    if (isGone || !isUnchanged) wantIfAffected(sync_.usesLink(link), now);
}

template <class Family>
void RouteMonitor<Family>::applyGoneAddress(const nlmsghdr& message, Time now) {
    const auto* about = payload<ifaddrmsg>(message);
    if (about != nullptr) wantIfAffected(sync_.usesLink(about->ifa_index), now);
}

template <class Family>
void RouteMonitor<Family>::applyNexthop(const nlmsghdr& message, Time now) {
    const uint32_t id = sync_.applyNexthop(message);
    if (id != 0) wantIfAffected(sync_.usesNexthop(id), now);
}

// During a listing, routes that depend on the change may not have been listed yet.
template <class Family>
void RouteMonitor<Family>::wantIfAffected(bool isUsed, Time now) {
    if (isUsed || state_ == State::ListingNexthops || state_ == State::ListingRoutes) want(now);
}

template <class Family>
void RouteMonitor<Family>::want(Time now) {
    if (std::exchange(isWanted_, true)) return;
    wantedAt_ = now + kDelay;
}

// ---- Listings

template <class Family>
void RouteMonitor<Family>::work(Time now) {
    if (state_ == State::ListingNexthops || state_ == State::ListingRoutes) {
        list(now);
    } else if (state_ == State::Settling || isBehind_) {
        drain(now, kPacketsSettled);
    } else if (state_ == State::Sweeping) {
        if (sync_.sweep(kEntriesSwept)) endListing(now);
    } else if (due() <= now) {
        beginListing(now);
    }
}

template <class Family>
void RouteMonitor<Family>::beginListing(Time now) {
    begun_ = now;
    isWanted_ = false;
    if (!listing_->open(NETLINK_ROUTE, 0)) return fail(now, errno);
    // With this option the kernel lists the main table only. Without it (before Linux 4.20) it lists all tables.
    const int isStrict = 1;
    (void)::setsockopt(listing_->fd(), SOL_NETLINK, NETLINK_GET_STRICT_CHK, &isStrict, sizeof isStrict);
    if (!requestNexthops()) return fail(now, errno);
    sync_.beginListing();
    state_ = State::ListingNexthops;
}

template <class Family>
bool RouteMonitor<Family>::requestNexthops() {
    NetlinkRequests requests;
    requests.add<nhmsg>(RTM_GETNEXTHOP, NLM_F_DUMP);
    requests.finish();
    return listing_->send(requests);
}

template <class Family>
bool RouteMonitor<Family>::requestRoutes() {
    NetlinkRequests requests;
    auto& about = requests.add<rtmsg>(RTM_GETROUTE, NLM_F_DUMP);
    about.rtm_family = Family::kFamily;
    about.rtm_table = RT_TABLE_MAIN;
    requests.finish();
    return listing_->send(requests);
}

// The kernel queues a listing's next packet when the previous one is received, so an empty queue is an error. Changes
// during the listing (NLM_F_DUMP_INTR) don't make it invalid, since they are notified as well.
template <class Family>
auto RouteMonitor<Family>::receiveListed() -> Listed {
    Listed listed;
    const auto outcome = listing_->receive(kPacketsListed, [&](const nlmsghdr& message) {
        if (message.nlmsg_type == NLMSG_DONE || message.nlmsg_type == NLMSG_ERROR) {
            listed.isDone = true;
            const auto* code = payload<int>(message);
            listed.error = code == nullptr ? 0 : -*code;
        } else {
            sync_.list(message);
        }
    });
    if (outcome != NetlinkSocket::Outcome::Full) listed.error = errno;
    return listed;
}

template <class Family>
void RouteMonitor<Family>::list(Time now) {
    const Listed listed = receiveListed();
    const bool isForRoutes = state_ == State::ListingRoutes;
    // ENOENT: the table doesn't exist before its first route. EOPNOTSUPP: no nexthop objects before Linux 5.3.
    const int harmless = isForRoutes ? ENOENT : EOPNOTSUPP;
    if (listed.error != 0 && listed.error != harmless) return fail(now, listed.error);
    if (!listed.isDone) return;
    if (isForRoutes) {
        listing_->close();
        state_ = State::Settling;
        return;
    }
    sync_.endNexthops();
    state_ = State::ListingRoutes;
    if (!requestRoutes()) fail(now, errno);
}

template <class Family>
void RouteMonitor<Family>::fail(Time now, int reason) {
    hostLog << Family::kRoutes << ": listing incomplete: " << std::strerror(reason);
    doubt(now, std::string("listing incomplete: ") + std::strerror(reason));
    listing_->close();
    state_ = State::Idle;
    isWanted_ = true;
    wantedAt_ = now + kInterval;
}

template <class Family>
void RouteMonitor<Family>::endListing(Time now) {
    state_ = State::Idle;
    share_ = sync_.hasGaps() ? std::min(share_ * 2, kMaxShare) : kShare;
    earliest_ = now + (now - begun_) * share_;
    // If routes were swept, more may have gone without a notification since. If notifications were lost, later ones
    // may have been misinterpreted.
    const bool wereLost = std::exchange(wereLost_, false);
    if (!wereLost) {
        problem_.clear();
        current_ = now;
    }
    if (wereLost) earliest_ = std::max(earliest_, begun_ + kInterval);
    if (wereLost || sync_.hasGaps() || sync_.swept() > 0) want(now);
}

template class RouteMonitor<Ipv4>;
template class RouteMonitor<Ipv6>;

}  // namespace hostd
