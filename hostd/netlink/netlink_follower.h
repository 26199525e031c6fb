#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "hostd/netlink/netlink.h"
#include "hostd/source/timer.h"

namespace hostd {

/// The table that a NetlinkFollower keeps current.
class FollowedTable {
  public:
    virtual ~FollowedTable() = default;
    /// Applies a message of the kernel about one entry; ignores messages about others, and malformed ones.
    /// @param now  as of tn::sinceBoot
    virtual void apply(const nlmsghdr& message, std::chrono::milliseconds now) = 0;
    /// Between these two calls every existing entry is reported anew.
    virtual void beginListing() = 0;
    /// @param isWhole  true: entries that weren't reported have gone. False: the listing was interrupted, and a missing
    ///                 entry means nothing
    virtual void endListing(bool isWhole) = 0;
};

/// Keeps a table current with the kernel's notifications (rtnetlink(7)). It is listed at the start, and again when
/// notifications were lost because they came faster than they were read. Lost notifications cause at most one listing
/// every kInterval, so that a flood costs little more than reading it.
class NetlinkFollower {
  public:
    static constexpr std::chrono::milliseconds kInterval{1000};  ///< between listings, and between attempts to open
    static constexpr size_t kPacketsAtOnce = 64;                 ///< read before the loop serves others
    static constexpr size_t kPacketsPerRequest = 16'384;         ///< read before a request is answered

    /// What is followed.
    struct Subject {
        std::string what;                   ///< for the log: "interfaces"
        unsigned groups;                    ///< RTMGRP_*
        void (*request)(NetlinkRequests&);  ///< adds the request that lists it
    };
    /// @param table    must outlive this
    /// @param sockets  makes the sockets for notifications and for listings, in this order
    NetlinkFollower(Subject subject, FollowedTable& table, const NetlinkSocketMaker& sockets = makeNetlinkSocket)
        : subject_(std::move(subject)), table_(table), notices_(sockets()), listing_(sockets()) {}
    ~NetlinkFollower();
    NetlinkFollower(const NetlinkFollower&) = delete;
    NetlinkFollower& operator=(const NetlinkFollower&) = delete;

    /// Lists the table, and has the process's loop, if there is one, apply notifications from now on. If the kernel
    /// refuses the socket, that is logged and the loop retries every kInterval. Before this nothing is read.
    void start() { open(); }
    [[nodiscard]] bool isOpen() const { return notices_->isOpen(); }
    /// Applies the notifications that are queued, at most so many packets, and lists the table if that is due. False
    /// when more may be queued, or some were lost and the table hasn't been listed since.
    bool catchUp(size_t packets = kPacketsPerRequest);

  private:
    /// Opens both sockets, lists the table and has the loop watch for notifications; retries later if refused.
    void open();
    [[nodiscard]] NetlinkSocket::Outcome readNotices(size_t packets);
    /// Lists until it succeeds, at most so often; if it never does, the table is stale and a retry is scheduled.
    void list(int attempts);
    /// True if the listing was whole.
    [[nodiscard]] bool listOnce(NetlinkRequests& requests);
    /// An attempt that is already scheduled stays.
    void retryAfter(std::chrono::milliseconds delay);

    Subject subject_;
    FollowedTable& table_;
    const std::unique_ptr<NetlinkSocket> notices_;
    const std::unique_ptr<NetlinkSocket> listing_;
    Timer timer_;  ///< for another attempt
    int watchedFd_ = -1;
    bool isOpenLogged_ = false;
    bool isStale_ = false;                 ///< must be listed anew
    std::chrono::milliseconds listed_{0};  ///< end of the last attempt
};

}  // namespace hostd
