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

namespace link_type {
inline constexpr uint32_t kEthernet = 6;  ///< ethernetCsmacd
inline constexpr uint32_t kRadio = 71;    ///< ieee80211
}  // namespace link_type

/// A network interface, as the kernel last reported it (rtnetlink(7)).
struct Link {
    uint32_t index = 0;
    uint32_t kind = contracts::interfaces::kind::Other;
    uint32_t type = 0;    ///< IANAifType; that of Ethernet for radios, too
    uint32_t flags = 0;   ///< IFF_* (net_device_flags of <linux/if.h>)
    uint32_t mtu = 0;     ///< octets
    uint32_t lower = 0;   ///< ifindex of the link below it; 0 if there is none, or it is in another network namespace
    uint32_t master = 0;  ///< ifindex of the bridge, aggregate or VRF that it belongs to; 0 if there is none
    std::optional<uint32_t> bridgePriority;  ///< IFLA_BR_PRIORITY; only bridges have one
    /// True if ethtool has meaningful data about it: for links that a driver created, including switch ports, and for
    /// aggregates (bond, team).
    bool hasDriver = false;
    bool isPromiscuous = false;  ///< receives all frames, for whatever reason (IFLA_PROMISCUITY)
    std::string name;
    std::string alias;
    std::vector<uint8_t> address;  ///< link address, at most 32 octets; empty when it has none
    /// When it last became running or ceased to be, as of tn::sinceBoot; 0 if that was before the first listing.
    std::chrono::milliseconds changedAt{0};
    rtnl_link_stats64 counters{};
    /// When the counters were read, as of tn::sinceBoot; nothing before the first time.
    std::optional<std::chrono::milliseconds> countersAt;
    /// When the counters were last seen to be lower than before, as of tn::sinceBoot; when the link was added, if that
    /// was after the first listing; else 0.
    std::chrono::milliseconds discontinuityAt{0};
    /// The largest numbers of unicast packets since then, see contracts::interfaces::InUnicastOnly.
    uint64_t inUnicast = 0, outUnicast = 0;

    [[nodiscard]] bool isEnabled() const;   ///< IFF_UP: the administrator has enabled it
    [[nodiscard]] bool isRunning() const;   ///< enabled and operational (IFF_RUNNING)
    [[nodiscard]] uint32_t status() const;  ///< bits of contracts::interfaces::status
};

/// Reads an RTM_NEWLINK into a link. MTU, lower link, bridge priority and counters stay if the message lacks them; all
/// else that the kernel reports is overwritten. False, with the link unchanged, for a message that doesn't describe a
/// whole link: one that is too short, a bridge's message about its port (AF_BRIDGE), a wireless event.
/// @param now  the new Link::countersAt, if the message has counters
[[nodiscard]] bool readLink(const nlmsghdr& message, std::chrono::milliseconds now, Link& link);

/// The ifindex of the link that an RTM_DELLINK removes. Nothing for a malformed message, and for one that only removes
/// a port from a bridge.
[[nodiscard]] std::optional<uint32_t> readGoneLink(const nlmsghdr& message);

/// Reads the counters of an RTM_NEWSTATS into a link. False, with the link unchanged, when the message has none.
/// @param now  the new Link::countersAt
[[nodiscard]] bool readCounters(const nlmsghdr& message, std::chrono::milliseconds now, Link& link);

/// Sets the counters of a link. If they are lower than before, that is a discontinuity.
/// @param now  the new Link::countersAt
void setCounters(const rtnl_link_stats64& counters, std::chrono::milliseconds now, Link& link);

/// The ifindex of the link that an RTM_NEWSTATS describes; 0 when the message is too short.
[[nodiscard]] uint32_t countedLink(const nlmsghdr& message);

}  // namespace hostd
