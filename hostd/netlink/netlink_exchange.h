#pragma once

#include <chrono>
#include <memory>

#include "hostd/netlink/netlink.h"

namespace hostd {

/// Exchanges requests and replies about links with the kernel, for a limited time. The kernel answers within send(),
/// but first waits for its lock of all links and routes (RTNL). Others can hold that for a second, while a table of a
/// million routes is resized, for instance. Therefore send() runs on a helper thread, which the first exchange starts.
class NetlinkExchange {
  public:
    /// Several times as long as the kernel needs for the largest packet of requests while nobody holds the lock.
    static constexpr std::chrono::milliseconds kMaxWait{2};

    /// Opens nothing: the first exchange does.
    /// @param socket  used by this object only; not nullptr
    explicit NetlinkExchange(std::unique_ptr<NetlinkSocket> socket);
    ~NetlinkExchange();  ///< doesn't wait for the kernel: the thread, and the socket, end with the last send
    NetlinkExchange(const NetlinkExchange&) = delete;
    NetlinkExchange& operator=(const NetlinkExchange&) = delete;

    /// Sends the requests, which the kernel must answer within send(), and passes the replies to the consumer. False,
    /// without a reply, if the kernel hasn't answered within kMaxWait, refuses, or hasn't answered an earlier exchange
    /// yet, which isn't waited for. Late replies are dropped.
    [[nodiscard]] bool exchange(NetlinkRequests requests, const NetlinkSocket::Consumer& consumer);

  private:
    struct State;
    /// Sends the requests of each exchange. Runs on the helper thread.
    static void serve(State& state);
    /// Opens the socket and starts the thread, unless that has been done.
    [[nodiscard]] bool isReady();

    std::shared_ptr<State> state_;  ///< shared with the helper thread, which may outlive this
    bool isStarted_ = false;        ///< the thread
    bool isLate_ = false;           ///< the last exchange had not ended after kMaxWait
};

}  // namespace hostd
