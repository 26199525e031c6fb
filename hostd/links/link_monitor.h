#pragma once

#include <chrono>
#include <cstdint>
#include <span>

#include "hostd/links/link_table.h"
#include "hostd/netlink/netlink_follower.h"

namespace hostd {

/// Keeps a LinkTable current: the links by the kernel's notifications, their counters when they are requested.
class LinkMonitor {
  public:
    /// @param table  must outlive this
    explicit LinkMonitor(LinkTable& table);

    /// Lists the links, and follows them from now on: as NetlinkFollower::start and catchUp.
    void start() { follower_.start(); }
    bool catchUp(size_t packets = NetlinkFollower::kPacketsPerRequest) { return follower_.catchUp(packets); }

    /// Reads counters that are at least maxAge old, in few calls to the kernel. When that fails they stay as they are.
    void refreshCounters(std::span<const uint32_t> indexes, std::chrono::milliseconds now,
                         std::chrono::milliseconds maxAge);

  private:
    void readCounters(std::span<const uint32_t> indexes, std::chrono::milliseconds now);

    LinkTable& table_;
    NetlinkFollower follower_;
    NetlinkSocket requests_;
};

}  // namespace hostd
