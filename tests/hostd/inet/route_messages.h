#pragma once

#include <arpa/inet.h>
#include <linux/rtnetlink.h>

#include <string>

#include "hostd/inet/route.h"
#include "tests/hostd/netlink/netlink_message.h"

namespace hostd {

using RouteMessage = NetlinkMessage<rtmsg>;

inline uint32_t address(const std::string& dotted) {
    uint32_t value = 0;
    EXPECT_EQ(::inet_pton(AF_INET, dotted.c_str(), &value), 1) << dotted;
    return ntohl(value);
}

/// A route as in "10.0.0.0/8", through these next hops.
inline Route routeTo(const std::string& prefix, std::vector<Route::NextHop> hops) {
    const size_t slash = prefix.find('/');
    Route route;
    route.destination = address(prefix.substr(0, slash));
    route.length = static_cast<uint8_t>(std::stoi(prefix.substr(slash + 1)));
    route.type = RTN_UNICAST;
    route.protocol = RTPROT_BOOT;
    route.hops = std::move(hops);
    return route;
}

inline Route::NextHop via(const std::string& gateway, uint32_t link, bool isUsable = true) {
    return {.gateway = address(gateway), .link = link, .hasGateway = true, .isUsable = isUsable};
}
inline Route::NextHop through(uint32_t link) { return {.link = link}; }

inline void putGateway(nlmsghdr* message, const Route::NextHop& hop) {
    if (hop.gateway != 0) mnl_attr_put_u32(message, RTA_GATEWAY, htonl(hop.gateway));
    if (hop.hasGateway && hop.gateway == 0) mnl_attr_put(message, RTA_VIA, 4, "\x0a\0\0\1");
}

/// RTM_NEWROUTE as the kernel writes it about a route: as a notification with these flags (NLM_F_APPEND,
/// NLM_F_REPLACE), or RTM_DELROUTE.
inline RouteMessage messageOf(const Route& route, uint16_t type = RTM_NEWROUTE, uint16_t flags = 0) {
    const auto flagsOf = [](const Route::NextHop& hop) { return hop.isUsable ? 0U : unsigned{RTNH_F_LINKDOWN}; };
    RouteMessage message(type, {AF_INET, route.length, 0, route.tos, RT_TABLE_MAIN, route.protocol, RT_SCOPE_UNIVERSE,
                                route.type, route.hops.size() == 1 ? flagsOf(route.hops[0]) : 0});
    message.raw()->nlmsg_flags = flags;
    message.value(RTA_TABLE, uint32_t{RT_TABLE_MAIN});
    if (route.length != 0) message.value(RTA_DST, htonl(route.destination));
    if (route.metric != 0) message.value(RTA_PRIORITY, route.metric);
    if (route.nexthop != 0) message.value(RTA_NH_ID, route.nexthop);
    if (route.hops.size() == 1) {
        if (route.hops[0].link != 0) message.value(RTA_OIF, route.hops[0].link);
        putGateway(message.raw(), route.hops[0]);
        return message;
    }
    return message.nest(RTA_MULTIPATH, [&](RouteMessage& inside) {
        for (const Route::NextHop& hop : route.hops) {
            nlmsghdr* raw = inside.raw();
            const uint32_t start = raw->nlmsg_len;
            raw->nlmsg_len += static_cast<uint32_t>(sizeof(rtnexthop));
            putGateway(raw, hop);
            auto* header = reinterpret_cast<rtnexthop*>(reinterpret_cast<uint8_t*>(raw) + start);
            header->rtnh_len = static_cast<uint16_t>(raw->nlmsg_len - start);
            header->rtnh_flags = static_cast<uint8_t>(flagsOf(hop));
            header->rtnh_ifindex = static_cast<int>(hop.link);
        }
    });
}

inline Route with(Route route, uint32_t metric, uint8_t tos = 0) {
    route.metric = metric;
    route.tos = tos;
    return route;
}

}  // namespace hostd
