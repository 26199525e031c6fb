#include "hostd/netlink/netlink_follower.h"

#include <sys/epoll.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "hostd/log.h"
#include "tn/looper.h"
#include "tn/sources.h"

namespace hostd {

namespace {

constexpr int kReceiveBuffer = 8 * 1024 * 1024;  // octets: enough for some thousand links that change at once
constexpr int kAttempts = 3;                     // listings at the start, when changes interrupt them

using Outcome = NetlinkSocket::Outcome;

}  // namespace

NetlinkFollower::~NetlinkFollower() {
    tn::Looper* looper = tn::getLooper();
    if (looper != nullptr && watchedFd_ >= 0) looper->removeSocket(watchedFd_);
}

NetlinkSocket::Outcome NetlinkFollower::readNotices(size_t packets) {
    const auto now = tn::sinceBoot();
    return notices_->receive(packets, [&](const nlmsghdr& message) { table_.apply(message, now); });
}

bool NetlinkFollower::catchUp(size_t packets) {
    if (!isOpen()) return true;
    auto outcome = readNotices(packets);
    if (outcome == Outcome::Overrun || outcome == Outcome::Failed) {
        if (!std::exchange(isStale_, true)) {
            hostLog << subject_.what << ": notifications lost: listing again";
            current_ = tn::sinceBoot();
        }
        outcome = readNotices(packets);  // drains the queue: applied later, these would undo the listing
    }
    if (!isStale_) return outcome == Outcome::Empty;
    const auto due = listed_ + kInterval;
    const auto now = tn::sinceBoot();
    if (outcome == Outcome::Empty && now >= due)
        list(1);
    else
        retryAfter(now < due ? due - now : kInterval);
    return !isStale_;
}

void NetlinkFollower::refresh() {
    if (tn::sinceBoot() >= refreshable_ && !catchUp(kPacketsPerRequest)) refreshable_ = tn::sinceBoot() + kPause;
}

void NetlinkFollower::open() {
    if (!notices_->open(NETLINK_ROUTE, subject_.groups, kReceiveBuffer) || !listing_->open(NETLINK_ROUTE, 0)) {
        if (!std::exchange(isOpenLogged_, true))
            hostLog << subject_.what << ": no netlink socket: " << std::strerror(errno);
        notices_->close();
        return retryAfter(kInterval);
    }
    isOpenLogged_ = false;
    list(kAttempts);
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr) return;
    watchedFd_ = notices_->fd();
    looper->addSocket(
        watchedFd_, [this](int, unsigned) { catchUp(kPacketsAtOnce); }, EPOLLIN);
}

void NetlinkFollower::list(int attempts) {
    NetlinkRequests requests;
    subject_.request(requests);
    isStale_ = true;
    while (isStale_ && attempts-- > 0) isStale_ = !listOnce(requests);
    listed_ = tn::sinceBoot();
    if (!isStale_) {
        current_ = listed_;
        return;
    }
    hostLog << subject_.what << ": listing incomplete: they change too fast, or the kernel doesn't answer";
    (void)listing_->open(NETLINK_ROUTE, 0);  // the rest of a reply is dropped with the old socket
    retryAfter(kInterval);
}

ReadingState NetlinkFollower::readingState(std::chrono::milliseconds now) const {
    ReadingState state{.name = subject_.what, .age = {}, .problem = {}};
    if (isOpenLogged_) state.problem = "no netlink socket";
    if (isStale_) state.problem = "listing incomplete";
    if (current_) state.age = state.problem.empty() ? std::chrono::milliseconds(0) : now - *current_;
    return state;
}

bool NetlinkFollower::listOnce(NetlinkRequests& requests) {
    const auto now = tn::sinceBoot();
    table_.beginListing();
    const bool isWhole = listing_->isOpen() && listing_->send(requests) &&
                         listing_->receiveReply([&](const nlmsghdr& message) { table_.apply(message, now); });
    table_.endListing(isWhole);
    return isWhole;
}

void NetlinkFollower::retryAfter(std::chrono::milliseconds delay) {
    if (timer_.isRunning()) return;
    timer_.start(delay, [this] { isOpen() ? static_cast<void>(catchUp(kPacketsAtOnce)) : open(); });
}

}  // namespace hostd
