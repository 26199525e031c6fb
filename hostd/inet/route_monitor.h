#pragma once

#include <cstdint>
#include <unordered_map>

#include "hostd/inet/route_table.h"
#include "hostd/netlink/netlink.h"

namespace hostd {

/// Keeps a RouteTable current with the kernel's notifications, on the caller's thread and without ever holding it up:
/// all work is done in slices of about a millisecond, so that requests are answered between two of them however many
/// routes there are. A listing on a thread of its own would need a second table and a lock around this one.
///
/// The table is listed whole when this is opened and when notifications were lost because they came faster than they
/// were read; besides, when a link that routes use changes its state, loses an address or goes, and when a nexthop
/// object changes or goes: the kernel then drops, stops and revives routes without a notification of each. Listings
/// take a tenth of the time at most.
///
/// Times are milliseconds of tn::getMilliseconds.
class RouteMonitor {
  public:
    static constexpr uint64_t kNever = UINT64_MAX;

    /// @param table  must outlive this
    explicit RouteMonitor(RouteTable& table) : table_(table) {}

    /// False, with a line in the log, when the kernel refuses; drain() then tries again, once a second.
    bool open(uint64_t now);
    [[nodiscard]] bool isOpen() const { return notices_.isOpen(); }
    [[nodiscard]] int noticesFd() const { return notices_.fd(); }  ///< readable when drain() has work
    /// When work() is wanted next: 0 for as soon as others have had their turn, kNever for not until drain() was
    /// called.
    [[nodiscard]] uint64_t due() const;

    /// Takes in the notifications that wait, at most `packets` of them.
    void drain(uint64_t now, size_t packets);
    /// One slice of a listing, or the beginning of one that is due.
    void work(uint64_t now);

  private:
    enum class State { Idle, ListingNexthops, Listing, Settling, Sweeping };

    void take(const nlmsghdr& message, uint64_t now);
    void takeLink(const nlmsghdr& message, uint64_t now);
    void takeAddress(const nlmsghdr& message, uint64_t now);
    void takeNexthop(const nlmsghdr& message, uint64_t now);
    void wantFor(bool isUsed, uint64_t now);
    void want(uint64_t now);
    void begin(uint64_t now);
    bool askForRoutes();
    void takeListed(uint64_t now);
    void fail(uint64_t now, int reason);
    void end(uint64_t now);

    RouteTable& table_;
    NetlinkSocket notices_;
    NetlinkSocket listing_;  ///< open while the kernel lists
    std::unordered_map<uint32_t, unsigned> linkFlags_;
    State state_ = State::Idle;
    bool isWanted_ = false;
    bool isBehind_ = false;  ///< notifications were lost, and those before them wait still
    bool wereLost_ = false;  ///< notifications, since the last listing ended
    bool isLogged_ = false;
    uint64_t wantedAt_ = 0;  ///< not before that
    uint64_t earliest_ = 0;  ///< nor before that: the last one has taken its share
    uint64_t begun_ = 0;
    uint64_t tried_ = 0;
};

}  // namespace hostd
