#include "hostd/inet/route_follower.h"

#include <sys/epoll.h>

#include "tn/looper.h"

namespace hostd {

template <class Family>
RouteFollower<Family>::~RouteFollower() {
    tn::Looper* looper = tn::getLooper();
    if (looper != nullptr && watchedFd_ >= 0) looper->removeSocket(watchedFd_);
}

template <class Family>
void RouteFollower<Family>::start() {
    isStarted_ = true;
    const auto started = tn::sinceBoot();
    const auto end = started + (first_ == FirstReading::AtStart ? kListedAtStart : kListedOnRequest);
    monitor_.open(started);
    for (auto now = started; monitor_.due() <= now && now < end; now = tn::sinceBoot()) monitor_.work(now);
    schedule();
}

template <class Family>
void RouteFollower<Family>::refresh() {
    if (!isStarted_ && first_ == FirstReading::OnRequest) start();
    const auto begun = tn::sinceBoot();
    if (begun < refreshable_) return;
    for (size_t read = 0; read < kPacketsPerRequest && tn::sinceBoot() < begun + kMaxRefresh; read += kPacketsAtOnce)
        if (drain(kPacketsAtOnce)) return;
    refreshable_ = tn::sinceBoot() + kPause;
}

template <class Family>
bool RouteFollower<Family>::drain(size_t packets) {
    if (!isStarted_) return true;
    const bool isEmpty = monitor_.drain(tn::sinceBoot(), packets);
    schedule();
    return isEmpty;
}

template <class Family>
void RouteFollower<Family>::work() {
    scheduledFor_ = monitor_.kNever;
    monitor_.work(tn::sinceBoot());
    schedule();
}

template <class Family>
void RouteFollower<Family>::schedule() {
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr) return;
    watchNotices(*looper);
    const auto due = monitor_.due();
    if (due >= scheduledFor_) return;
    scheduledFor_ = due;
    timer_.stop();
    const auto now = tn::sinceBoot();
    if (due > now) return timer_.start(due - now, [this] { work(); });
    // Not a timer: one of 0 ms may be 1 ms late, which is as long as a slice.
    looper->defer([this, here = std::weak_ptr<void>(isHere_)] {
        if (!here.expired()) work();
    });
}

template <class Family>
void RouteFollower<Family>::watchNotices(tn::Looper& looper) {
    if (!monitor_.isOpen() || watchedFd_ == monitor_.noticesFd()) return;
    watchedFd_ = monitor_.noticesFd();
    looper.addSocket(
        watchedFd_, [this](int, unsigned) { drain(kPacketsAtOnce); }, EPOLLIN);
}

template class RouteFollower<Ipv4>;
template class RouteFollower<Ipv6>;

}  // namespace hostd
