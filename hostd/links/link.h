#pragma once

#include <linux/if_link.h>
#include <linux/netlink.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "contracts/interfaces.h"

namespace hostd {

/// A network interface, as the kernel last reported it.
struct Link {
    uint32_t index = 0;
    uint32_t kind = contracts::interfaces::kind::Other;
    uint32_t flags = 0;  ///< net_device_flags of <linux/if.h>
    uint32_t mtu = 0;
    uint32_t lower = 0;  ///< index of the link under it; 0 if there is none or it is in another namespace
    std::optional<uint32_t> bridgePriority;
    /// Created by a driver, as a switch port is, or an aggregate (bond): its ethtool data are meaningful.
    bool hasDriver = false;
    std::string name;
    std::string alias;
    std::vector<uint8_t> address;  ///< empty when it has none
    rtnl_link_stats64 counters{};
    std::optional<std::chrono::milliseconds>
        countersAt;  ///< when they were read, as of tn::sinceBoot; nothing for never

    [[nodiscard]] bool isEnabled() const;
    [[nodiscard]] bool isRunning() const;
    [[nodiscard]] uint32_t status() const;  ///< bits of contracts::interfaces::status
};

/// Reads RTM_NEWLINK (rtnetlink(7)) into a link; what the message lacks stays. False, the link unchanged, for a message
/// that isn't about a whole link: too short, a bridge's view of its port (AF_BRIDGE), a wireless event.
/// @param now  for Link::countersAt
[[nodiscard]] bool readLink(const nlmsghdr& message, std::chrono::milliseconds now, Link& link);

/// The index of the link that an RTM_DELLINK is about; nothing when only a bridge has lost its port.
[[nodiscard]] std::optional<uint32_t> readGoneLink(const nlmsghdr& message);

/// Reads the counters of RTM_NEWSTATS into a link. False, the link unchanged, when they aren't in the message.
[[nodiscard]] bool readCounters(const nlmsghdr& message, std::chrono::milliseconds now, Link& link);

/// The index of the link that RTM_NEWSTATS is about; 0 when the message is too short.
[[nodiscard]] uint32_t countedLink(const nlmsghdr& message);

}  // namespace hostd
