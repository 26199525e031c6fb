#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include <string>

#include "hostd/inet/route_table.h"
#include "tests/hostd/netlink/netlink_message.h"

namespace hostd {

using RouteMessage = NetlinkMessage<rtmsg>;

/// A dotted IPv4 address in host byte order.
inline uint32_t address(const std::string& dotted) {
    uint32_t value = 0;
    EXPECT_EQ(::inet_pton(AF_INET, dotted.c_str(), &value), 1) << dotted;
    return ntohl(value);
}

/// A unicast route to a prefix such as "10.0.0.0/8" with these next hops.
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

/// A next hop with a gateway; `through` makes one without.
inline Route::NextHop via(const std::string& gateway, uint32_t link, bool isUsable = true) {
    return {.gateway = address(gateway), .link = link, .hasGateway = true, .isUsable = isUsable};
}
inline Route::NextHop through(uint32_t link) { return {.link = link}; }

/// Appends RTA_GATEWAY, or RTA_VIA with an IPv6 family for a gateway of 0.
inline void putGateway(nlmsghdr* message, const Route::NextHop& hop) {
    if (hop.gateway != 0) mnl_attr_put_u32(message, RTA_GATEWAY, htonl(hop.gateway));
    if (hop.hasGateway && hop.gateway == 0) mnl_attr_put(message, RTA_VIA, 4, "\x0a\0\0\1");
}

/// The message that the kernel sends about a route.
/// @param type   RTM_NEWROUTE or RTM_DELROUTE
/// @param flags  of a notification: NLM_F_APPEND, NLM_F_REPLACE
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

/// A row as "10.0.0.0/8 10.1.1.1 dev 2 metric 5"; the metric is omitted if it is 0.
inline std::string text(const RouteEntry& row) {
    return dotted(row.destination) + "/" + std::to_string(row.length) + " " + dotted(row.gateway) + " dev " +
           std::to_string(row.link) + (row.metric == 0 ? "" : " metric " + std::to_string(row.metric));
}

inline std::vector<std::string> rowsOf(const RouteTable& table) {
    std::vector<std::string> all;
    for (const auto* row = table.firstFrom({}); row != nullptr; row = table.after(*row)) all.push_back(text(*row));
    EXPECT_EQ(table.size(), all.size());
    return all;
}

/// The kernel's message about a nexthop object. groupOf() makes one about a group of them.
inline NetlinkMessage<nhmsg> object(uint32_t id, const Route::NextHop& hop, uint16_t type = RTM_NEWNEXTHOP) {
    NetlinkMessage<nhmsg> message(type, {});
    message.value(NHA_ID, id).value(NHA_OIF, hop.link);
    if (hop.gateway != 0) return message.value(NHA_GATEWAY, htonl(hop.gateway));
    return hop.hasGateway ? message.octets(NHA_GATEWAY, std::vector<uint8_t>(16, 1)) : message;
}
inline NetlinkMessage<nhmsg> groupOf(uint32_t id, const std::vector<uint32_t>& members) {
    std::vector<nexthop_grp> group;
    for (const uint32_t member : members) group.push_back({.id = member, .weight = 0, .resvd1 = 0, .resvd2 = 0});
    NetlinkMessage<nhmsg> message(RTM_NEWNEXTHOP, {});
    mnl_attr_put(message.raw(), NHA_GROUP, group.size() * sizeof group[0], group.data());
    return message.value(NHA_ID, id);
}
/// A route for which the kernel reports only the nexthop object's id.
inline Route by(uint32_t nexthop, const std::string& prefix) {
    Route route = routeTo(prefix, {Route::NextHop{}});
    route.nexthop = nexthop;
    return route;
}

}  // namespace hostd
