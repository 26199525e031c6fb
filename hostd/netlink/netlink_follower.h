#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "hostd/netlink/netlink.h"
#include "hostd/source/reading_state.h"
#include "hostd/source/timer.h"

namespace hostd {

/// A copy of one of the kernel's tables, which a NetlinkFollower keeps current.
class FollowedTable {
  public:
    virtual ~FollowedTable() = default;
    /// Applies a kernel message about one entry. Ignores malformed messages, and messages about other things, such as
    /// addresses of another family.
    /// @param now  as of tn::sinceBoot
    virtual void apply(const nlmsghdr& message, std::chrono::milliseconds now) = 0;
    /// Begins a listing: until endListing(), apply() is called for each existing entry, and for nothing else.
    virtual void beginListing() = 0;
    /// Ends a listing.
    /// @param isWhole  true: entries that weren't reported have gone. False: the listing was interrupted, so entries
    ///                 that weren't reported may still exist
    virtual void endListing(bool isWhole) = 0;
};

/// Keeps a table current with the kernel's notifications (rtnetlink(7)). The table is listed at the start, and again
/// when notifications were lost because they arrived faster than they were read. Losses cause at most one listing every
/// kInterval, so that a flood of notifications costs little more than reading them.
///
/// A listing runs to its end on the caller's thread. If the kernel doesn't reply, it blocks for
/// NetlinkSocket::kTimeout.
class NetlinkFollower : public ReportedSource {
  public:
    static constexpr std::chrono::milliseconds kInterval{1000};  ///< between listings, and between attempts to open
    static constexpr size_t kPacketsAtOnce = 16;       ///< maximum to read before the loop continues with other work
    static constexpr size_t kPacketsPerRequest = 256;  ///< maximum to read before a request is answered
    static constexpr std::chrono::milliseconds kPause{10};  ///< between requests for which so many are read

    /// The kernel's table that is followed.
    struct Subject {
        std::string what;                   ///< its name for the log: "interfaces"
        unsigned groups;                    ///< multicast groups of its notifications, RTMGRP_*
        void (*request)(NetlinkRequests&);  ///< adds the dump request that lists it
    };
    /// Opens nothing: that is start()'s work.
    /// @param table    must outlive this
    /// @param sockets  called twice: for the socket for notifications, then for the one for listings
    NetlinkFollower(Subject subject, FollowedTable& table, const NetlinkSocketMaker& sockets = makeNetlinkSocket)
        : subject_(std::move(subject)), table_(table), notices_(sockets()), listing_(sockets()) {}
    ~NetlinkFollower() override;  ///< removes the socket from the loop
    NetlinkFollower(const NetlinkFollower&) = delete;
    NetlinkFollower& operator=(const NetlinkFollower&) = delete;

    /// Subscribes to notifications and lists the table. From now on, the process's loop applies notifications; without
    /// a loop, only catchUp() does. If the kernel refuses a socket, one line is logged and the loop retries every
    /// kInterval.
    void start() { open(); }
    /// True after start(), unless the kernel has refused the sockets.
    [[nodiscard]] bool isOpen() const { return notices_->isOpen(); }
    /// Applies queued notifications, and lists the table if that is due. True if the table is current, or the socket
    /// isn't open. False if more notifications may be queued, or some were lost and the table hasn't been listed since.
    /// @param packets  maximum number to read
    bool catchUp(size_t packets);
    /// Catches up before a request is answered. If more remains queued than is read for a request, the next ones for
    /// kPause read nothing: one that fetches several times would read as many times.
    void refresh();
    [[nodiscard]] ReadingState readingState(std::chrono::milliseconds now) const override;

  private:
    /// Opens both sockets, lists the table and adds the notifications to the loop. Schedules a retry if the kernel
    /// refuses a socket.
    void open();
    /// Applies queued notifications, at most `packets` packets.
    [[nodiscard]] NetlinkSocket::Outcome readNotices(size_t packets);
    /// Lists the table until a listing succeeds, at most `attempts` times. If none does, the table remains stale, a
    /// line is logged and a retry is scheduled.
    void list(int attempts);
    /// Lists the table. True if the listing was whole.
    [[nodiscard]] bool listOnce(NetlinkRequests& requests);
    /// Schedules catchUp(), or open() if the socket isn't open. Does nothing if that is already scheduled.
    void retryAfter(std::chrono::milliseconds delay);

    Subject subject_;
    FollowedTable& table_;
    const std::unique_ptr<NetlinkSocket> notices_;
    const std::unique_ptr<NetlinkSocket> listing_;
    Timer timer_;                                       ///< for the next attempt
    int watchedFd_ = -1;                                ///< the descriptor that was added to the loop
    bool isOpenLogged_ = false;                         ///< the kernel's refusal of a socket has been logged
    bool isStale_ = false;                              ///< the table must be listed anew
    std::optional<std::chrono::milliseconds> current_;  ///< when the table was current, if it is stale now
    std::chrono::milliseconds listed_{0};               ///< end of the last attempt to list, as of tn::sinceBoot
    std::chrono::milliseconds refreshable_{0};          ///< refresh() reads nothing before this
};

}  // namespace hostd
