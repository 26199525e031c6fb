#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>

#include "hostd/links/link_table.h"
#include "hostd/netlink/netlink_exchange.h"
#include "hostd/netlink/netlink_follower.h"

namespace hostd {

/// Keeps a LinkTable current. Links follow the kernel's notifications (rtnetlink(7)). The kernel sends no
/// notification when counters change, so those are read on request.
class LinkMonitor {
  public:
    /// @param table    must outlive this
    /// @param netDev   path of the kernel's text of counters
    /// @param sockets  called three times: twice for the NetlinkFollower, then for the socket for counters
    explicit LinkMonitor(LinkTable& table, std::string netDev = "/proc/thread-self/net/dev",
                         const NetlinkSocketMaker& sockets = makeNetlinkSocket);

    /// Lists the links and follows the kernel's notifications from now on (NetlinkFollower::start).
    void start() { follower_.start(); }
    /// Applies queued notifications (NetlinkFollower::catchUp). True if the table is current.
    bool catchUp(size_t packets) { return follower_.catchUp(packets); }
    /// Applies queued notifications before a request is answered (NetlinkFollower::refresh).
    void refresh() { follower_.refresh(); }

    /// Reads the counters of these links that are at least maxAge old, with few system calls. If the kernel's lock of
    /// links is held (NetlinkExchange), reads those of all links from /proc/net/dev, which the kernel writes without
    /// it. Counters that can't be read stay as they are, which isn't logged. Does nothing before start().
    /// A call for the link after the one that was read last is taken for a step of a walk, and reads some more.
    /// @param indexes  ifindexes; those without a link are ignored
    /// @param now      as of tn::sinceBoot
    void refreshCounters(std::span<const uint32_t> indexes, std::chrono::milliseconds now,
                         std::chrono::milliseconds maxAge);

  private:
    /// Reads the counters of these links with one request for each, all in one packet. False if the kernel hasn't
    /// answered in time.
    [[nodiscard]] bool readCounters(std::span<const uint32_t> indexes, std::chrono::milliseconds now);

    LinkTable& table_;
    NetlinkFollower follower_;
    NetlinkExchange counters_;
    uint32_t next_ = 0;   ///< ifindex of the link after the last one that was read: a walk reads it next; 0 if none
    std::string netDev_;  ///< path of the kernel's text of counters
};

}  // namespace hostd
