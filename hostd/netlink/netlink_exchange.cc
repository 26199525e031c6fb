#include "hostd/netlink/netlink_exchange.h"

#include <atomic>
#include <semaphore>
#include <system_error>
#include <thread>
#include <utility>

namespace hostd {

// There is no lock: the helper could lose its processor while it holds one, and the loop would wait for both.
struct NetlinkExchange::State {
    std::unique_ptr<NetlinkSocket> socket;  ///< the helper's between `begun` and `ended`, as are the next two
    NetlinkRequests requests;
    bool isSent = false;
    std::binary_semaphore begun{0}, ended{0};
    std::atomic<bool> isOver = false;  ///< the helper is to end
};

NetlinkExchange::NetlinkExchange(std::unique_ptr<NetlinkSocket> socket) : state_(std::make_shared<State>()) {
    state_->socket = std::move(socket);
}

NetlinkExchange::~NetlinkExchange() {
    state_->isOver = true;
    state_->begun.release();
}

void NetlinkExchange::serve(State& state) {
    for (;;) {
        state.begun.acquire();
        if (state.isOver) return;
        state.isSent = state.socket->send(state.requests);
        state.ended.release();
    }
}

bool NetlinkExchange::isReady() {
    if (isStarted_) return true;
    if (!state_->socket->isOpen() && !state_->socket->open(NETLINK_ROUTE, 0)) return false;
    try {
        std::thread([state = state_] { serve(*state); }).detach();
    } catch (const std::system_error&) {  // no thread available: the next exchange tries again
        return false;
    }
    return isStarted_ = true;
}

bool NetlinkExchange::exchange(NetlinkRequests requests, const NetlinkSocket::Consumer& consumer) {
    if (!isReady()) return false;
    if (isLate_) {
        if (!state_->ended.try_acquire()) return false;
        (void)state_->socket->receive(SIZE_MAX, [](const nlmsghdr&) {});  // they would fill the socket's buffer
    }
    state_->requests = std::move(requests);
    state_->begun.release();
    isLate_ = !state_->ended.try_acquire_for(kMaxWait);
    if (isLate_ || !state_->isSent) return false;
    (void)state_->socket->receive(SIZE_MAX, consumer);
    return true;
}

}  // namespace hostd
