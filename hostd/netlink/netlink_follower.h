#pragma once

#include <cstdint>
#include <string>

#include "hostd/netlink/netlink.h"
#include "tn/thin_runner.h"

namespace hostd {

/// What is kept of the things that a NetlinkFollower follows.
class FollowedTable {
  public:
    virtual ~FollowedTable() = default;
    /// Takes what the kernel tells of one thing; messages about others are passed over.
    /// @param now  milliseconds of tn::getMilliseconds
    virtual void take(const nlmsghdr& message, uint64_t now) = 0;
    /// Between these two calls everything that is there is told of anew.
    virtual void beginListing() = 0;
    /// @param isWhole  what wasn't told of has gone; else the listing broke off, and says nothing of it
    virtual void endListing(bool isWhole) = 0;
};

/// Keeps a table current with the kernel's notifications (rtnetlink(7)). It is listed whole at the start, and when
/// notifications were lost because they came faster than they were read. Lost notifications cause at most one listing
/// every kPause, so that a flood costs little more than reading it.
class NetlinkFollower {
  public:
    /// What is followed.
    struct Subject {
        std::string what;                   ///< for the log: "interfaces"
        unsigned groups;                    ///< RTMGRP_*
        void (*request)(NetlinkRequests&);  ///< adds the one that lists it
    };
    /// @param table  must outlive this
    NetlinkFollower(Subject subject, FollowedTable& table) : subject_(std::move(subject)), table_(table) {}
    ~NetlinkFollower();
    NetlinkFollower(const NetlinkFollower&) = delete;
    NetlinkFollower& operator=(const NetlinkFollower&) = delete;

    /// Lists the table, and has the process's loop, if there is one, take in from now on what comes. When the kernel
    /// refuses, that is logged, and the loop tries again once a second. Before this nothing is read.
    void start();
    [[nodiscard]] bool isOpen() const { return notices_.isOpen(); }
    static constexpr uint64_t kPause = 1000;         ///< ms, between listings and between attempts to open
    static constexpr size_t kPacketsAtOnce = 64;     ///< before the loop looks after others
    static constexpr size_t kPacketsBefore = 16384;  ///< an answer
    /// Takes in what waits, at most so many packets. False when there may be more, or some were lost.
    bool catchUp(size_t packets = kPacketsBefore);

  private:
    void open();
    void list(int attempts);
    void tryLater(uint64_t delay);

    Subject subject_;
    FollowedTable& table_;
    NetlinkSocket notices_;
    NetlinkSocket requests_;
    tn::ThinRunner::TimerId timer_ = 0;  ///< for another attempt
    int watchedFd_ = -1;
    bool isLogged_ = false;
    bool isStale_ = false;  ///< must be listed anew
    uint64_t listed_ = 0;
};

}  // namespace hostd
