#include "hostd/netlink_follower.h"

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
constexpr uint64_t kPause = 1000;       // ms between attempts
constexpr int kListings = 3;            // while things come and go during them

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
    const uint64_t now = tn::getMilliseconds();
    switch (notices_.take(packets, [&](const nlmsghdr& message) { table_.take(message, now); })) {
        case NetlinkSocket::Outcome::Empty:
            break;
        case NetlinkSocket::Outcome::Full:
            return false;
        case NetlinkSocket::Outcome::Overrun:
        case NetlinkSocket::Outcome::Failed:
            hostLog << subject_.what << ": notifications were lost: listing them anew";
            // What still waits is older than the listing will be.
            (void)notices_.take(SIZE_MAX, [](const nlmsghdr&) {});
            list();
            break;
    }
    return true;
}

void NetlinkFollower::open() {
    if (!notices_.open(NETLINK_ROUTE, subject_.groups, kRoom) || !requests_.open(NETLINK_ROUTE, 0)) {
        if (!std::exchange(isLogged_, true))
            hostLog << subject_.what << ": no netlink socket: " << std::strerror(errno);
        notices_.close();
        return tryLater();
    }
    isLogged_ = false;
    list();
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr) return;
    watchedFd_ = notices_.fd();
    looper->addSocket(
        watchedFd_, [this](int, unsigned) { catchUp(kPacketsAtOnce); }, EPOLLIN);
}

void NetlinkFollower::list() {
    const uint64_t now = tn::getMilliseconds();
    NetlinkRequests requests;
    subject_.request(requests);
    for (int i = 0; i < kListings; ++i) {
        table_.beginListing();
        const bool isWhole = requests_.isOpen() && requests_.send(requests.bytes()) &&
                             requests_.takeAnswer([&](const nlmsghdr& message) { table_.take(message, now); });
        table_.endListing(isWhole);
        if (isWhole) return;
    }
    hostLog << subject_.what << ": not listed whole: they change too fast, or the kernel doesn't answer";
    (void)requests_.open(NETLINK_ROUTE, 0);  // what is left of an answer is gone with the socket
    tryLater();
}

void NetlinkFollower::tryLater() {
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr || timer_ != 0) return;
    timer_ = looper->addTimer(
        [this] {
            timer_ = 0;
            notices_.isOpen() ? list() : open();
        },
        kPause);
}

}  // namespace hostd
