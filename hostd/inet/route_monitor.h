#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <unordered_map>

#include "hostd/inet/route_sync.h"
#include "hostd/netlink/netlink.h"

namespace hostd {

/// Keeps a RouteTable current with the kernel's notifications, on the caller's thread and without ever blocking it: all
/// work is done in slices of about a millisecond, so that requests are answered between two of them however many routes
/// there are. (A listing on a helper thread would need a second table and a lock around this one.)
///
/// The table is listed at the start, and when notifications were lost because they came faster than they were read. It
/// is also listed when a link that routes use changes its state, loses an address or goes, and when a nexthop object
/// changes or goes: the kernel then drops, stops and revives routes without a notification for each. Listings take a
/// tenth of the time at most.
///
/// Points in time are as of tn::sinceBoot.
class RouteMonitor {
  public:
    using Time = std::chrono::milliseconds;
    static constexpr Time kNever = Time::max();
    static constexpr Time kInterval{1000};  ///< between attempts, and between listings after losses
    static constexpr Time kDelay{100};      ///< before a listing: its cause is over by then, mostly

    /// @param table    must outlive this, and is changed by nothing else
    /// @param sockets  makes the sockets for notifications and for listings, in this order
    explicit RouteMonitor(RouteTable& table, const NetlinkSocketMaker& sockets = makeNetlinkSocket)
        : sync_(table), notices_(sockets()), listing_(sockets()) {}

    /// Subscribes to notifications and begins the first listing. False, with a line in the log, when the kernel
    /// refuses; drain() then retries every kInterval.
    bool open(Time now);
    [[nodiscard]] bool isOpen() const { return notices_->isOpen(); }
    [[nodiscard]] int noticesFd() const { return notices_->fd(); }  ///< readable when drain() has work
    /// When work() is to be called next: 0 for as soon as others have been served, kNever for not before the next
    /// drain().
    [[nodiscard]] Time due() const;

    /// Applies the notifications that are queued, at most `packets` packets.
    void drain(Time now, size_t packets);
    /// One slice of a listing, or the beginning of one that is due.
    void work(Time now);
    /// Applies a notification.
    void apply(const nlmsghdr& message, Time now);

  private:
    /// What a listing is doing. Settling: all is listed; notifications from before its end are still queued.
    enum class State { Idle, ListingNexthops, ListingRoutes, Settling, Sweeping };
    /// What one packet of a listing brought.
    struct Listed {
        bool isDone = false;
        int error = 0;  ///< errno
    };

    void applyLink(const nlmsghdr& message, Time now);
    void applyGoneAddress(const nlmsghdr& message, Time now);
    void applyNexthop(const nlmsghdr& message, Time now);
    void wantIfAffected(bool isUsed, Time now);
    void want(Time now);
    void recordLoss(Time now);
    void beginListing(Time now);
    [[nodiscard]] bool requestNexthops();
    [[nodiscard]] bool requestRoutes();
    [[nodiscard]] Listed receiveListed();
    void list(Time now);
    void fail(Time now, int reason);
    void endListing(Time now);

    RouteSync sync_;
    const std::unique_ptr<NetlinkSocket> notices_;
    const std::unique_ptr<NetlinkSocket> listing_;  ///< open while the kernel lists
    std::unordered_map<uint32_t, unsigned> linkFlags_;
    State state_ = State::Idle;
    bool isWanted_ = false;  ///< another listing
    bool isBehind_ = false;  ///< notifications were lost, and those before them are still queued
    bool wereLost_ = false;  ///< notifications, since the last listing ended
    bool isOpenLogged_ = false;
    Time wantedAt_{0};  ///< the listing begins no earlier than this
    Time earliest_{0};  ///< nor than this: the last one has used its share of the time
    Time begun_{0};     ///< the last listing
    Time tried_{0};     ///< the last attempt to open
};

}  // namespace hostd
