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

constexpr int kRoom = 8 * 1024 * 1024;    // octets: some thousand links that change at once
constexpr uint64_t kPause = 1000;         // ms between attempts
constexpr int kListings = 3;              // while things come and go during them
constexpr size_t kPacketsAtOnce = 64;     // before the loop looks after others
constexpr size_t kPacketsBefore = 16384;  // an answer

}  // namespace

NetlinkFollower::~NetlinkFollower() {
    if (tn::Looper* looper = tn::getLooper(); looper != nullptr && watchedFd_ >= 0) looper->removeSocket(watchedFd_);
}

void NetlinkFollower::start() {
    isStarted_ = true;
    open(tn::getMilliseconds());
}

void NetlinkFollower::catchUp() {
    if (isStarted_) drain(kPacketsBefore);
}

void NetlinkFollower::open(uint64_t now) {
    tried_ = now;
    if (!notices_.open(NETLINK_ROUTE, subject_.groups, kRoom) || !requests_.open(NETLINK_ROUTE, 0)) {
        if (!std::exchange(isLogged_, true))
            hostLog << subject_.what << ": no netlink socket: " << std::strerror(errno);
        notices_.close();
        return;
    }
    isLogged_ = false;
    list(now);
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr) return;
    watchedFd_ = notices_.fd();
    looper->addSocket(
        watchedFd_, [this](int, unsigned) { drain(kPacketsAtOnce); }, EPOLLIN);
}

void NetlinkFollower::drain(size_t packets) {
    const uint64_t now = tn::getMilliseconds();
    if (!notices_.isOpen()) {
        if (now - tried_ >= kPause) open(now);
        return;
    }
    switch (notices_.take(packets, [&](const nlmsghdr& message) { table_.take(message, now); })) {
        case NetlinkSocket::Outcome::Empty:
        case NetlinkSocket::Outcome::Full:
            break;
        case NetlinkSocket::Outcome::Overrun:
        case NetlinkSocket::Outcome::Failed:
            hostLog << subject_.what << ": notifications were lost: listing them anew";
            // What still waits is older than the listing will be.
            (void)notices_.take(SIZE_MAX, [](const nlmsghdr&) {});
            list(now);
            return;
    }
    if (isBehind_ && now - tried_ >= kPause) list(now);
}

void NetlinkFollower::list(uint64_t now) {
    tried_ = now;
    NetlinkRequests requests;
    subject_.request(requests);
    for (int i = 0; i < kListings; ++i) {
        table_.beginListing();
        isBehind_ = !requests_.send(requests.bytes()) ||
                    !requests_.takeAnswer([&](const nlmsghdr& message) { table_.take(message, now); });
        table_.endListing(!isBehind_);
        if (!isBehind_) return;
    }
    hostLog << subject_.what << ": not listed whole: they change too fast, or the kernel doesn't answer";
    (void)requests_.open(NETLINK_ROUTE, 0);  // what is left of an answer is gone with the socket
}

}  // namespace hostd
