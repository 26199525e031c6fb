#include "hostd/links/link.h"

#include <net/if.h>  // before <linux/if.h>, which then leaves out what it defines

#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/if_ether.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>

#include "contracts/interfaces.h"
#include "hostd/netlink/attributes.h"

namespace hostd {

namespace interfaces = contracts::interfaces;

namespace {

constexpr size_t kMaxAddress = 32;  // MAX_ADDR_LEN

struct KindName {
    std::string_view name;  // IFLA_INFO_KIND
    uint32_t kind;
};
constexpr std::array kKinds = {
    KindName{"bridge", interfaces::kind::Bridge},    KindName{"vlan", interfaces::kind::Vlan},
    KindName{"gre", interfaces::kind::Tunnel},       KindName{"gretap", interfaces::kind::Tunnel},
    KindName{"ip6gre", interfaces::kind::Tunnel},    KindName{"ip6gretap", interfaces::kind::Tunnel},
    KindName{"erspan", interfaces::kind::Tunnel},    KindName{"ip6erspan", interfaces::kind::Tunnel},
    KindName{"ipip", interfaces::kind::Tunnel},      KindName{"ip6tnl", interfaces::kind::Tunnel},
    KindName{"sit", interfaces::kind::Tunnel},       KindName{"vti", interfaces::kind::Tunnel},
    KindName{"vti6", interfaces::kind::Tunnel},      KindName{"xfrm", interfaces::kind::Tunnel},
    KindName{"vxlan", interfaces::kind::Tunnel},     KindName{"geneve", interfaces::kind::Tunnel},
    KindName{"wireguard", interfaces::kind::Tunnel}, KindName{"gtp", interfaces::kind::Tunnel},
    KindName{"bareudp", interfaces::kind::Tunnel},   KindName{"ppp", interfaces::kind::Ppp},
};

// Kinds whose IFLA_LINK is the link below. That of a veth is its peer, that of a switch port is the CPU's link.
constexpr std::array<std::string_view, 5> kStacked = {"vlan", "macvlan", "macvtap", "ipvlan", "ipvtap"};
constexpr std::array<std::string_view, 2> kAggregates = {"bond", "team"};
// Links with an IFLA_INFO_KIND normally have no driver; these have. DSA switch ports report it since Linux 6.1.
constexpr std::array<std::string_view, 3> kDriven = {"bond", "team", "dsa"};

bool isIn(const auto& names, std::string_view name) { return std::ranges::find(names, name) != names.end(); }

/// The kind of a link: by IFLA_INFO_KIND if that is known, else by its hardware type. Wireless links are Ethernet here:
/// rtnetlink doesn't distinguish them.
/// @param hardware  ARPHRD_*
uint32_t kindOf(std::string_view infoKind, unsigned hardware) {
    const auto known = std::ranges::find(kKinds, infoKind, &KindName::name);
    if (known != kKinds.end()) return known->kind;
    switch (hardware) {
        case ARPHRD_ETHER:
            return interfaces::kind::Ethernet;
        case ARPHRD_PPP:
            return interfaces::kind::Ppp;
        case ARPHRD_NONE:  // tun, and other layer 3 devices without a link header
        case ARPHRD_TUNNEL:
        case ARPHRD_TUNNEL6:
        case ARPHRD_SIT:
        case ARPHRD_IPGRE:
        case ARPHRD_IP6GRE:
            return interfaces::kind::Tunnel;
        default:
            return interfaces::kind::Other;
    }
}

/// IANAifType of a link (ifType, RFC 2863).
/// @param kind      one of contracts::interfaces::kind
/// @param hardware  ARPHRD_*
uint32_t typeOf(std::string_view infoKind, uint32_t kind, unsigned hardware) {
    if (isIn(kAggregates, infoKind)) return 161;  // ieee8023adLag
    switch (kind) {
        case interfaces::kind::Ethernet:
            return link_type::kEthernet;
        case interfaces::kind::Ppp:
            return 23;
        case interfaces::kind::Bridge:
            return 209;
        case interfaces::kind::Tunnel:
            return 131;
        case interfaces::kind::Vlan:
            return 135;  // l2vlan
        default:
            break;
    }
    switch (hardware) {
        case ARPHRD_LOOPBACK:
            return 24;
        case ARPHRD_SLIP:
            return 28;
        case ARPHRD_IEEE1394:
            return 144;
        case ARPHRD_INFINIBAND:
            return 199;
        default:
            return 1;  // other
    }
}

void readInfo(const nlattr* info, unsigned hardware, Link& link) {
    const Attributes<IFLA_INFO_MAX> attributes(info);
    const std::string_view kind = attributes.text(IFLA_INFO_KIND);
    link.kind = kindOf(kind, hardware);
    link.type = typeOf(kind, link.kind, hardware);
    link.hasDriver = hardware == ARPHRD_ETHER && (kind.empty() || isIn(kDriven, kind));
    if (!isIn(kStacked, kind)) link.lower = 0;
    if (link.kind != interfaces::kind::Bridge) return;
    const Attributes<IFLA_BR_MAX> bridge(attributes[IFLA_INFO_DATA]);
    if (const auto priority = bridge.number<uint16_t>(IFLA_BR_PRIORITY)) link.bridgePriority = *priority;
}

/// Reads IFLA_ADDRESS. The zeros of loopback and the IP address of an IP tunnel aren't link addresses: the link then
/// has none.
void readAddress(std::span<const uint8_t> address, Link& link) {
    const bool isIp = link.kind == interfaces::kind::Tunnel && address.size() != ETH_ALEN;
    const bool isNone = isIp || address.size() > kMaxAddress || std::ranges::count(address, 0) == std::ssize(address);
    link.address.assign(address.begin(), isNone ? address.begin() : address.end());
}

bool areLower(const rtnl_link_stats64& now, const rtnl_link_stats64& before) {
    return now.rx_packets < before.rx_packets || now.tx_packets < before.tx_packets || now.rx_bytes < before.rx_bytes ||
           now.tx_bytes < before.tx_bytes;
}

/// Copies a block of counters, which is shorter or longer than ours if the kernel has fewer or more of them. False for
/// an empty block.
bool copyCounters(std::span<const uint8_t> block, std::chrono::milliseconds now, Link& link) {
    if (block.empty()) return false;
    rtnl_link_stats64 counters{};
    std::memcpy(&counters, block.data(), std::min(block.size(), sizeof counters));
    setCounters(counters, now, link);
    return true;
}

}  // namespace

bool Link::isEnabled() const { return (flags & IFF_UP) != 0; }

bool Link::isRunning() const { return isEnabled() && (flags & IFF_RUNNING) != 0; }

uint32_t Link::status() const {
    uint32_t status = 0;
    if (isEnabled() && (flags & IFF_LOWER_UP) != 0) status |= interfaces::status::Up;
    if (isRunning()) status |= interfaces::status::Operational;
    return status;
}

bool readLink(const nlmsghdr& message, std::chrono::milliseconds now, Link& link) {
    const auto* header = payload<ifinfomsg>(message);
    if (header == nullptr || header->ifi_family != AF_UNSPEC || header->ifi_index <= 0) return false;
    const Attributes<IFLA_MAX> attributes(message, sizeof *header);
    const std::string_view name = attributes.text(IFLA_IFNAME);
    if (name.empty() || attributes[IFLA_WIRELESS] != nullptr) return false;

    link.index = static_cast<uint32_t>(header->ifi_index);
    link.flags = header->ifi_flags;
    link.name = name;
    link.alias = attributes.text(IFLA_IFALIAS);
    link.mtu = attributes.number<uint32_t>(IFLA_MTU).value_or(link.mtu);
    link.lower =
        attributes[IFLA_LINK_NETNSID] != nullptr ? 0 : attributes.number<uint32_t>(IFLA_LINK).value_or(link.lower);
    link.master = attributes.number<uint32_t>(IFLA_MASTER).value_or(0);
    link.isPromiscuous = attributes.number<uint32_t>(IFLA_PROMISCUITY).value_or(0) > 0;
    readInfo(attributes[IFLA_LINKINFO], header->ifi_type, link);
    readAddress(attributes.octets(IFLA_ADDRESS), link);
    copyCounters(attributes.octets(IFLA_STATS64), now, link);
    return true;
}

void setCounters(const rtnl_link_stats64& counters, std::chrono::milliseconds now, Link& link) {
    const rtnl_link_stats64 before = std::exchange(link.counters, counters);
    link.countersAt = now;
    if (!areLower(counters, before)) return;
    link.discontinuityAt = now;
    link.inUnicast = link.outUnicast = 0;
}

std::optional<uint32_t> readGoneLink(const nlmsghdr& message) {
    const auto* header = payload<ifinfomsg>(message);
    if (header == nullptr || header->ifi_family != AF_UNSPEC || header->ifi_index <= 0) return {};
    return static_cast<uint32_t>(header->ifi_index);
}

bool readCounters(const nlmsghdr& message, std::chrono::milliseconds now, Link& link) {
    if (countedLink(message) == 0) return false;
    const Attributes<IFLA_STATS_MAX> attributes(message, sizeof(if_stats_msg));
    return copyCounters(attributes.octets(IFLA_STATS_LINK_64), now, link);
}

uint32_t countedLink(const nlmsghdr& message) {
    const auto* header = payload<if_stats_msg>(message);
    return header == nullptr ? 0 : header->ifindex;
}

}  // namespace hostd
