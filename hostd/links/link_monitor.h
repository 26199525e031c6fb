#pragma once

#include <cstdint>
#include <span>

#include "hostd/links/link_table.h"
#include "hostd/netlink/netlink_follower.h"

namespace hostd {

/// Keeps a LinkTable current: the links by the kernel's notifications, their counters when they are asked for.
class LinkMonitor {
  public:
    /// @param table  must outlive this
    explicit LinkMonitor(LinkTable& table);

    /// From now on the links are followed.
    void start() { follower_.start(); }
    bool catchUp(size_t packets = NetlinkFollower::kPacketsBefore) { return follower_.catchUp(packets); }

    /// Reads the counters of those of these links that were read before `now` - maxAge, in few calls to the kernel.
    void refreshCounters(std::span<const uint32_t> indexes, uint64_t now, uint64_t maxAge);

  private:
    void readCounters(std::span<const uint32_t> indexes, uint64_t now);

    LinkTable& table_;
    NetlinkFollower follower_;
    NetlinkSocket requests_;
};

}  // namespace hostd
