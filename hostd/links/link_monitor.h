#pragma once

#include <chrono>
#include <cstdint>
#include <span>

#include "hostd/links/link_table.h"
#include "hostd/netlink/netlink_follower.h"

namespace hostd {

/// Keeps a LinkTable current. Links follow the kernel's notifications (rtnetlink(7)). The kernel sends no
/// notification when counters change, so those are read on request.
class LinkMonitor {
  public:
    /// @param table  must outlive this
    explicit LinkMonitor(LinkTable& table);

    /// Lists the links and follows the kernel's notifications from now on (NetlinkFollower::start).
    void start() { follower_.start(); }
    /// Applies queued notifications (NetlinkFollower::catchUp). True if the table is current.
    bool catchUp(size_t packets) { return follower_.catchUp(packets); }
    /// Applies queued notifications before a request is answered (NetlinkFollower::refresh).
    void refresh() { follower_.refresh(); }

    /// Reads the counters of these links that are at least maxAge old, with few system calls. Counters that can't be
    /// read stay as they are, which isn't logged. Does nothing before start().
    /// @param indexes  ifindexes; those without a link are ignored
    /// @param now      as of tn::sinceBoot
    void refreshCounters(std::span<const uint32_t> indexes, std::chrono::milliseconds now,
                         std::chrono::milliseconds maxAge);

  private:
    /// Reads the counters of these links with one request for each, all in one packet.
    void readCounters(std::span<const uint32_t> indexes, std::chrono::milliseconds now);

    LinkTable& table_;
    NetlinkFollower follower_;
    NetlinkSocket requests_;  ///< for counters; opened when they are first requested
};

}  // namespace hostd
