#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "hostd/inet/route_sync.h"
#include "hostd/netlink/netlink.h"
#include "hostd/source/reading_state.h"

namespace hostd {

/// Keeps a RouteTable current with the kernel's notifications (rtnetlink(7)). It runs on the caller's thread and never
/// blocks it: all work is done in slices of about a millisecond, so that requests are answered between two slices,
/// however many routes there are. (A listing on a helper thread would need a second table, and a lock for this one.)
///
/// The table is listed at the start, and again
/// - when notifications were lost because they arrived faster than they were read,
/// - when a link that routes use changes its state, loses an address or is removed,
/// - when a nexthop object that routes use changes or is removed.
///
/// In the last two cases the kernel removes, disables and revives routes without a notification for each. And it is
/// listed again
/// - after a listing that may have missed routes (RouteSync::hasGaps).
///
/// Listings use a tenth of the time at most; of several in a row that may have missed routes, each waits twice as long
/// as the one before.
///
/// Points in time are as of tn::sinceBoot. For one thread at a time.
template <class Family>
class RouteMonitor : public ReportedSource {
  public:
    using Time = std::chrono::milliseconds;
    static constexpr Time kNever = Time::max();
    static constexpr Time kInterval{1000};  ///< between attempts to open, and between listings after losses
    static constexpr Time kDelay{100};  ///< from a change to its listing: one listing then covers a burst of changes

    /// Opens nothing: that is open()'s work.
    /// @param table    must outlive this; nothing else may change it
    /// @param sockets  called twice: for the socket for notifications, then for the one for listings
    explicit RouteMonitor(RouteTable<Family>& table, const NetlinkSocketMaker& sockets = makeNetlinkSocket)
        : sync_(table), notices_(sockets()), listing_(sockets()) {}

    /// Subscribes to notifications and begins the first listing. False, with one line in the log, when the kernel
    /// refuses the socket; drain() then retries every kInterval.
    bool open(Time now);
    [[nodiscard]] bool isOpen() const { return notices_->isOpen(); }
    /// The descriptor of the open socket for notifications, readable when drain() has work. It stays this object's.
    [[nodiscard]] int noticesFd() const { return notices_->fd(); }
    /// When to call work() next. 0: as soon as the loop has done its other work. kNever: not before the next drain().
    [[nodiscard]] Time due() const;

    /// Applies queued notifications, at most `packets` packets. If the socket isn't open, tries to open it. False if
    /// more may be queued.
    bool drain(Time now, size_t packets);
    /// Does one slice of the listing in progress, or begins one that is due.
    void work(Time now);
    /// Applies a notification. Ignores other and malformed messages.
    void apply(const nlmsghdr& message, Time now);
    [[nodiscard]] ReadingState readingState(std::chrono::milliseconds now) const override;

  private:
    static constexpr int kShare = 10;
    static constexpr int kMaxShare = 1280;
    /// The phases of a listing. Settling: everything has been listed, but notifications from before the listing's end
    /// may still be queued. Sweeping: routes that no longer exist are being removed.
    enum class State { Idle, ListingNexthops, ListingRoutes, Settling, Sweeping };
    /// The result of receiving one packet of a listing.
    struct Listed {
        bool isDone = false;  ///< it was the last packet
        int error = 0;        ///< errno; 0 on success
    };

    void applyLink(const nlmsghdr& message, Time now);
    void applyGoneAddress(const nlmsghdr& message, Time now);
    void applyNexthop(const nlmsghdr& message, Time now);
    /// Schedules a listing after a change of a link or nexthop object that routes use.
    void wantIfAffected(bool isUsed, Time now);
    /// Schedules a listing, kDelay from now. One that is already scheduled stays.
    void want(Time now);
    /// Schedules a listing after lost notifications; logs the loss, once until that listing has ended.
    void recordLoss(Time now);
    /// Records that the table isn't known to be current any more.
    void doubt(Time now, std::string problem);
    void beginListing(Time now);
    /// Send the dump requests. False, errno set, when the kernel refuses.
    [[nodiscard]] bool requestNexthops();
    [[nodiscard]] bool requestRoutes();
    [[nodiscard]] Listed receiveListed();
    /// Receives one packet of the listing, and goes to the next phase after the last one.
    void list(Time now);
    /// Abandons the listing, logs the reason and schedules another one, kInterval from now.
    void fail(Time now, int reason);
    void endListing(Time now);

    RouteSync<Family> sync_;
    const std::unique_ptr<NetlinkSocket> notices_;
    const std::unique_ptr<NetlinkSocket> listing_;      ///< open while the kernel lists
    std::unordered_map<uint32_t, unsigned> linkFlags_;  ///< state of each link, IFF_*, by ifindex
    State state_ = State::Idle;
    bool isWanted_ = false;        ///< another listing is scheduled
    bool isBehind_ = false;        ///< notifications were lost, and older ones are still queued
    bool wereLost_ = false;        ///< notifications were lost since the last listing ended
    bool isOpenLogged_ = false;    ///< the kernel's refusal of the socket has been logged
    std::string problem_;          ///< why the table may not be current; empty if it is
    std::optional<Time> current_;  ///< when it was current, if it isn't now; nothing before the first listing
    Time wantedAt_{0};             ///< the scheduled listing begins no earlier than this
    Time earliest_{0};             ///< nor earlier than this, so that listings don't exceed their share of the time
    Time begun_{0};                ///< when the last listing began
    int share_ = kShare;           ///< listings use 1/share_ of the time at most
    Time tried_{0};                ///< when opening was last tried
};

}  // namespace hostd
