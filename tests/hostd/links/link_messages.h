#pragma once

#include <net/if.h>  // before <linux/if.h>, which then leaves out what it defines

#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include "tests/hostd/netlink/netlink_message.h"

namespace hostd {

/// Flags of a link that is up and has carrier.
inline constexpr unsigned kUp = IFF_UP | IFF_RUNNING | static_cast<unsigned>(IFF_LOWER_UP);

/// A message of the kernel's rtnetlink about a link.
class LinkMessage : public NetlinkMessage<ifinfomsg> {
  public:
    explicit LinkMessage(int index, const char* name = nullptr, unsigned flags = 0,
                         unsigned short hardware = ARPHRD_ETHER, uint16_t type = RTM_NEWLINK,
                         unsigned char family = AF_UNSPEC)
        : NetlinkMessage(type, {family, 0, hardware, index, flags, 0}) {
        if (name != nullptr) text(IFLA_IFNAME, name);
    }
    /// Appends IFLA_LINKINFO. @param kind  nullptr to append nothing, as for the link of a driver
    LinkMessage& kind(const char* kind, std::optional<uint16_t> bridgePriority = {}) {
        if (kind == nullptr) return *this;
        nest(IFLA_LINKINFO, [&](NetlinkMessage& info) {
            info.text(IFLA_INFO_KIND, kind);
            if (!bridgePriority) return;
            info.nest(IFLA_INFO_DATA, [&](NetlinkMessage& data) { data.value(IFLA_BR_PRIORITY, *bridgePriority); });
        });
        return *this;
    }
    /// Appends IFLA_STATS64. @param octets  fewer for the shorter structure of older kernels
    LinkMessage& counters(const rtnl_link_stats64& counters, size_t octets = sizeof(rtnl_link_stats64)) {
        mnl_attr_put(raw(), IFLA_STATS64, octets, &counters);
        return *this;
    }
};

}  // namespace hostd
