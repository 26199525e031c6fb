#include "hostd/inet/route_monitor.h"

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

constexpr int kRoom = 16 * 1024 * 1024;  // octets, of which the kernel makes twice as many: some 40,000 notifications
constexpr size_t kPacketsListed = 1;     // a slice: up to 32 KiB, some hundred routes
constexpr size_t kPacketsSettled = 256;  // a slice
constexpr size_t kEntriesSwept = 20000;  // a slice
constexpr uint64_t kPause = 1000;        // ms between attempts, and between listings after losses
constexpr uint64_t kDelay = 100;         // ms: what made a listing necessary is over by then, mostly
constexpr uint64_t kShare = 10;          // of the time, one part is for listings
constexpr unsigned kLinkState = IFF_UP | IFF_RUNNING | IFF_LOWER_UP;
constexpr unsigned kGroups = RTMGRP_IPV4_ROUTE | RTMGRP_LINK | RTMGRP_IPV4_IFADDR | 1U << (RTNLGRP_NEXTHOP - 1);

}  // namespace

bool RouteMonitor::open(uint64_t now) {
    tried_ = now;
    if (!notices_.open(NETLINK_ROUTE, kGroups, kRoom)) {
        if (!std::exchange(isLogged_, true)) hostLog << "routes: no netlink socket: " << std::strerror(errno);
        return false;
    }
    isLogged_ = false;
    begin(now);
    return true;
}

uint64_t RouteMonitor::due() const {
    // The kernel goes on losing notifications, without saying so again, until all that wait have been read.
    if (state_ != State::Idle || isBehind_) return 0;
    return isWanted_ ? std::max(wantedAt_, earliest_) : kNever;
}

void RouteMonitor::drain(uint64_t now, size_t packets) {
    if (!isOpen()) {
        if (now - tried_ >= kPause) open(now);
        return;
    }
    switch (notices_.take(packets, [&](const nlmsghdr& message) { take(message, now); })) {
        case NetlinkSocket::Outcome::Empty:
            isBehind_ = false;
            // What went before the listing's end has been told by now: what is neither listed nor told of has gone.
            if (state_ == State::Settling) state_ = State::Sweeping;
            break;
        case NetlinkSocket::Outcome::Full:
            break;
        case NetlinkSocket::Outcome::Overrun:
        case NetlinkSocket::Outcome::Failed:
            if (!std::exchange(wereLost_, true)) hostLog << "routes: notifications were lost: listing them anew";
            isBehind_ = true;
            want(now);
            earliest_ = std::max(earliest_, begun_ + kPause);
            break;
    }
    if (table_.takeDoubt()) want(now);
}

void RouteMonitor::take(const nlmsghdr& message, uint64_t now) {
    switch (message.nlmsg_type) {
        case RTM_NEWLINK:
        case RTM_DELLINK:
            return takeLink(message, now);
        case RTM_DELADDR:
            return takeAddress(message, now);
        case RTM_NEWNEXTHOP:
        case RTM_DELNEXTHOP:
            return takeNexthop(message, now);
        default:
            table_.take(message);
    }
}

void RouteMonitor::takeLink(const nlmsghdr& message, uint64_t now) {
    const auto* about = payload<ifinfomsg>(message);
    if (about == nullptr || about->ifi_family != AF_UNSPEC) return;
    const auto link = static_cast<uint32_t>(about->ifi_index);
    const unsigned flags = about->ifi_flags & kLinkState;
    const bool isGone = message.nlmsg_type == RTM_DELLINK;
    const auto known = linkFlags_.find(link);
    const bool isAsBefore = known != linkFlags_.end() && known->second == flags;
    if (isGone)
        linkFlags_.erase(link);
    else
        linkFlags_[link] = flags;
    if (isGone || !isAsBefore) wantFor(table_.usesLink(link), now);
}

void RouteMonitor::takeAddress(const nlmsghdr& message, uint64_t now) {
    const auto* about = payload<ifaddrmsg>(message);
    if (about != nullptr) wantFor(table_.usesLink(about->ifa_index), now);
}

void RouteMonitor::takeNexthop(const nlmsghdr& message, uint64_t now) {
    table_.take(message);
    const Attributes<NHA_ID> attributes(message, sizeof(nhmsg));
    wantFor(table_.usesNexthop(attributes.number<uint32_t>(NHA_ID).value_or(0)), now);
}

/// Something has changed that routes hang on, or, in the middle of a listing, may hang on.
void RouteMonitor::wantFor(bool isUsed, uint64_t now) {
    if (isUsed || state_ == State::ListingNexthops || state_ == State::Listing) want(now);
}

void RouteMonitor::want(uint64_t now) {
    if (std::exchange(isWanted_, true)) return;
    wantedAt_ = now + kDelay;
}

void RouteMonitor::begin(uint64_t now) {
    begun_ = now;
    isWanted_ = false;
    if (!listing_.open(NETLINK_ROUTE, 0)) return fail(now, errno);
    // The kernel then lists this table alone; one that can't (before Linux 4.20) lists all.
    const int isStrict = 1;
    (void)::setsockopt(listing_.fd(), SOL_NETLINK, NETLINK_GET_STRICT_CHK, &isStrict, sizeof isStrict);
    NetlinkRequests requests;
    requests.add<nhmsg>(RTM_GETNEXTHOP, NLM_F_DUMP);
    requests.finish();
    if (!listing_.send(requests)) return fail(now, errno);
    table_.beginListing();
    state_ = State::ListingNexthops;
}

bool RouteMonitor::askForRoutes() {
    NetlinkRequests requests;
    auto& about = requests.add<rtmsg>(RTM_GETROUTE, NLM_F_DUMP);
    about.rtm_family = AF_INET;
    about.rtm_table = RT_TABLE_MAIN;
    requests.finish();
    return listing_.send(requests);
}

void RouteMonitor::work(uint64_t now) {
    if (state_ == State::ListingNexthops || state_ == State::Listing) {
        takeListed(now);
    } else if (state_ == State::Settling || isBehind_) {
        drain(now, kPacketsSettled);
    } else if (state_ == State::Sweeping) {
        if (table_.sweep(kEntriesSwept)) end(now);
    } else if (due() <= now) {
        begin(now);
    }
}

/// Takes what the kernel lists: its next packet is there as soon as the last one is taken. Changes in the middle of it
/// need no second listing: they are told of as well.
void RouteMonitor::takeListed(uint64_t now) {
    bool isDone = false;
    int error = 0;
    const auto outcome = listing_.take(kPacketsListed, [&](const nlmsghdr& message) {
        if (message.nlmsg_type == NLMSG_DONE || message.nlmsg_type == NLMSG_ERROR) {
            isDone = true;
            const auto* code = payload<int>(message);
            error = code == nullptr ? 0 : -*code;
        } else {
            table_.list(message);
        }
    });
    if (outcome != NetlinkSocket::Outcome::Full) error = errno;
    const bool isForRoutes = state_ == State::Listing;
    // ENOENT: the table doesn't exist before its first route. EOPNOTSUPP: no nexthop objects before Linux 5.3.
    const int harmless = isForRoutes ? ENOENT : EOPNOTSUPP;
    if (error != 0 && error != harmless) return fail(now, error);
    if (!isDone) return;
    if (!isForRoutes) {
        table_.endNexthops();
        state_ = State::Listing;
        if (!askForRoutes()) fail(now, errno);
        return;
    }
    listing_.close();
    state_ = State::Settling;
}

void RouteMonitor::fail(uint64_t now, int reason) {
    hostLog << "routes: not listed whole: " << std::strerror(reason);
    listing_.close();
    state_ = State::Idle;
    isWanted_ = true;
    wantedAt_ = now + kPause;
}

void RouteMonitor::end(uint64_t now) {
    state_ = State::Idle;
    earliest_ = now + (now - begun_) * kShare;
    // Routes may have gone on going unnoticed, and a notification behind lost ones may have been taken amiss.
    const bool wereLost = std::exchange(wereLost_, false);
    if (wereLost) earliest_ = std::max(earliest_, begun_ + kPause);
    if (wereLost || table_.swept() > 0) want(now);
}

}  // namespace hostd
