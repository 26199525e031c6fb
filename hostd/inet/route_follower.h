#pragma once

#include <chrono>
#include <memory>

#include "hostd/inet/route_monitor.h"
#include "hostd/source/reading.h"
#include "hostd/source/timer.h"

namespace tn {
class Looper;
}

namespace hostd {

/// The routes of a family, which the process's loop keeps current (RouteMonitor). Queued notifications, up to
/// kPacketsPerRequest packets, are applied before each reply. Until a large table has been listed for the first time,
/// it has the rows that have been listed so far.
template <class Family>
class RouteFollower {
  public:
    using Table = RouteTable<Family>;
    using Duration = std::chrono::milliseconds;
    static constexpr size_t kPacketsAtOnce = 64;       ///< maximum to read before the loop continues with other work
    static constexpr size_t kPacketsPerRequest = 256;  ///< maximum to read before a request is answered
    static constexpr Duration kMaxRefresh{2};          ///< time after which no more are read for a request
    static constexpr Duration kPause{10};              ///< between requests for which so many are read
    /// Maximum time that start() spends on the first listing. The loop does the rest.
    static constexpr Duration kListedAtStart{100};
    /// The same on request. It lists some hundred routes, more than most hosts have.
    static constexpr Duration kListedOnRequest{1};

    /// @param first    OnRequest: the first refresh() starts
    /// @param sockets  as of RouteMonitor
    explicit RouteFollower(FirstReading first, const NetlinkSocketMaker& sockets = makeNetlinkSocket)
        : first_(first), monitor_(table_, sockets) {}
    ~RouteFollower();
    RouteFollower(const RouteFollower&) = delete;
    RouteFollower& operator=(const RouteFollower&) = delete;

    /// Subscribes to notifications and begins the first listing. Before this, there are no rows.
    void start();
    /// Applies queued notifications. To be called before a request reads the table. If more remains queued than is read
    /// for a request, the next ones for kPause read nothing: one that fetches several times would read as many times.
    void refresh();
    /// Applies a kernel message as if it were a notification.
    void apply(const nlmsghdr& message) { monitor_.apply(message, tn::sinceBoot()); }
    [[nodiscard]] const Table& table() const { return table_; }

  private:
    /// Applies queued notifications, at most `packets` packets. False if more may be queued.
    bool drain(size_t packets);
    /// Does a slice of the monitor's work.
    void work();
    /// Has the loop call work() when the monitor is due, and drain() when there are notifications.
    void schedule();
    void watchNotices(tn::Looper& looper);

    FirstReading first_;
    Table table_;
    RouteMonitor<Family> monitor_;
    bool isStarted_ = false;
    int watchedFd_ = -1;                                       ///< the descriptor that was added to the loop
    Timer timer_;                                              ///< for the next call of work()
    std::shared_ptr<void> isHere_ = std::make_shared<char>();  ///< expires with this object: stops deferred calls
    Duration refreshable_{0};                                  ///< refresh() reads nothing before this
    Duration scheduledFor_ = RouteMonitor<Family>::kNever;     ///< when work() is called next
};

}  // namespace hostd
