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

constexpr int kRoom = 8 * 1024 * 1024;  // octets: some thousand links that change at once
constexpr int kListings = 3;            // attempts at the start, when changes interrupt them

}  // namespace

NetlinkFollower::~NetlinkFollower() {
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr) return;
    if (watchedFd_ >= 0) looper->removeSocket(watchedFd_);
    looper->removeTimer(timer_);
}

void NetlinkFollower::start() { open(); }

bool NetlinkFollower::catchUp(size_t packets) {
    if (!notices_.isOpen()) return true;
    using enum NetlinkSocket::Outcome;
    const uint64_t now = tn::getMilliseconds();
    const auto takeIn = [&] {
        return notices_.take(packets, [&](const nlmsghdr& message) { table_.take(message, now); });
    };
    auto outcome = takeIn();
    if (outcome == Overrun || outcome == Failed) {
        if (!std::exchange(isStale_, true)) hostLog << subject_.what << ": notifications were lost: listing them anew";
        outcome = takeIn();  // what is still queued is older than the listing to come
    }
    if (isStale_) {
        const uint64_t due = listed_ + kPause;
        if (outcome == Empty && now >= due)
            list(1);
        else
            tryLater(now < due ? due - now : kPause);
    }
    return outcome == Empty && !isStale_;
}

void NetlinkFollower::open() {
    if (!notices_.open(NETLINK_ROUTE, subject_.groups, kRoom) || !requests_.open(NETLINK_ROUTE, 0)) {
        if (!std::exchange(isLogged_, true))
            hostLog << subject_.what << ": no netlink socket: " << std::strerror(errno);
        notices_.close();
        return tryLater(kPause);
    }
    isLogged_ = false;
    list(kListings);
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr) return;
    watchedFd_ = notices_.fd();
    looper->addSocket(
        watchedFd_, [this](int, unsigned) { catchUp(kPacketsAtOnce); }, EPOLLIN);
}

void NetlinkFollower::list(int attempts) {
    const uint64_t now = tn::getMilliseconds();
    NetlinkRequests requests;
    subject_.request(requests);
    isStale_ = true;
    while (isStale_ && attempts-- > 0) {
        table_.beginListing();
        const bool isWhole = requests_.isOpen() && requests_.send(requests) &&
                             requests_.takeAnswer([&](const nlmsghdr& message) { table_.take(message, now); });
        table_.endListing(isWhole);
        isStale_ = !isWhole;
    }
    listed_ = tn::getMilliseconds();
    if (!isStale_) return;
    hostLog << subject_.what << ": not listed whole: they change too fast, or the kernel doesn't answer";
    (void)requests_.open(NETLINK_ROUTE, 0);  // what is left of an answer is gone with the socket
    tryLater(kPause);
}

void NetlinkFollower::tryLater(uint64_t delay) {
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr || timer_ != 0) return;
    timer_ = looper->addTimer(
        [this] {
            timer_ = 0;
            notices_.isOpen() ? static_cast<void>(catchUp(kPacketsAtOnce)) : open();
        },
        std::chrono::milliseconds(delay));
}

}  // namespace hostd
