#pragma once

#include <cstdint>
#include <span>

#include "hostd/link_table.h"
#include "hostd/netlink.h"

namespace hostd {

/// Keeps a LinkTable current with the kernel's notifications. The table is listed whole when this is opened and when
/// notifications were lost because they came faster than they were read.
class LinkMonitor {
  public:
    /// @param table  must outlive this
    explicit LinkMonitor(LinkTable& table) : table_(table) {}

    /// False, with a line in the log, when the kernel refuses; drain() then tries again, once a second.
    bool open(uint64_t now);
    [[nodiscard]] bool isOpen() const { return notices_.isOpen(); }
    [[nodiscard]] int fd() const { return notices_.fd(); }  ///< readable when drain() has work

    /// Takes in the notifications that wait, at most `packets` of them.
    void drain(uint64_t now, size_t packets);

    /// Reads the counters of those of these links that were read before `now` - maxAge, in few calls to the kernel.
    void refreshCounters(std::span<const uint32_t> indexes, uint64_t now, uint64_t maxAge);

  private:
    void list(uint64_t now);
    void readCounters(std::span<const uint32_t> indexes, uint64_t now);

    LinkTable& table_;
    NetlinkSocket notices_;
    NetlinkSocket requests_;
    uint64_t tried_ = 0;
    bool isBehind_ = false;  ///< the last listing failed
    bool isLogged_ = false;
};

}  // namespace hostd
