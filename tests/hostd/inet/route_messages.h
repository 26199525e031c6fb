#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>

#include "hostd/inet/route_table.h"
#include "tests/hostd/netlink/netlink_message.h"

namespace hostd {

using RouteMessage = NetlinkMessage<rtmsg>;

/// Tests describe the routes of both families with those of IPv4. An IPv6 address has the octets of the IPv4 address,
/// then zeros: 10.1.0.0/16 is a01::/16.
using Route4 = Route<Ipv4>;
using NextHop4 = Route4::NextHop;

inline std::vector<uint8_t> octetsOf(uint32_t address, uint8_t family) {
    std::vector<uint8_t> octets(family == AF_INET ? 4 : 16);
    for (size_t i = 0; i < 4; ++i) octets[i] = static_cast<uint8_t>(address >> (24 - 8 * i));
    return octets;
}

/// A dotted IPv4 address in host byte order.
inline uint32_t address(const std::string& dotted) {
    uint32_t value = 0;
    EXPECT_EQ(::inet_pton(AF_INET, dotted.c_str(), &value), 1) << dotted;
    return ntohl(value);
}

/// A unicast route to a prefix such as "10.0.0.0/8" with these next hops.
inline Route4 routeTo(const std::string& prefix, std::vector<NextHop4> hops) {
    const size_t slash = prefix.find('/');
    Route4 route;
    route.destination = address(prefix.substr(0, slash));
    route.length = static_cast<uint8_t>(std::stoi(prefix.substr(slash + 1)));
    route.type = RTN_UNICAST;
    route.protocol = RTPROT_BOOT;
    route.hops = std::move(hops);
    return route;
}

/// A next hop with a gateway; `through` makes one without.
inline NextHop4 via(const std::string& gateway, uint32_t link, bool isUsable = true) {
    return {.gateway = address(gateway), .link = link, .hasGateway = true, .isUsable = isUsable};
}
inline NextHop4 through(uint32_t link) { return {.link = link}; }

/// Appends RTA_GATEWAY, or RTA_VIA with an IPv6 family for a gateway of 0.
inline void putGateway(nlmsghdr* message, const NextHop4& hop, uint8_t family) {
    const auto octets = octetsOf(hop.gateway, family);
    if (hop.gateway != 0) mnl_attr_put(message, RTA_GATEWAY, octets.size(), octets.data());
    if (hop.hasGateway && hop.gateway == 0) mnl_attr_put(message, RTA_VIA, 4, "\x0a\0\0\1");
}

/// The message that the kernel sends about a route.
/// @param type   RTM_NEWROUTE or RTM_DELROUTE
/// @param flags  of a notification: NLM_F_APPEND, NLM_F_REPLACE
inline RouteMessage messageOf(const Route4& route, uint16_t type = RTM_NEWROUTE, uint16_t flags = 0,
                              uint8_t family = AF_INET) {
    const auto flagsOf = [](const NextHop4& hop) { return hop.isUsable ? 0U : unsigned{RTNH_F_LINKDOWN}; };
    const auto [tos, source] = family == AF_INET ? std::pair(route.tos, uint8_t{0}) : std::pair(uint8_t{0}, route.tos);
    RouteMessage message(type, {family, route.length, source, tos, RT_TABLE_MAIN, route.protocol, RT_SCOPE_UNIVERSE,
                                route.type, route.hops.size() == 1 ? flagsOf(route.hops[0]) : 0});
    message.raw()->nlmsg_flags = flags;
    message.value(RTA_TABLE, uint32_t{RT_TABLE_MAIN});
    if (route.length != 0) message.octets(RTA_DST, octetsOf(route.destination, family));
    if (route.metric != 0) message.value(RTA_PRIORITY, route.metric);
    if (route.nexthop != 0) message.value(RTA_NH_ID, route.nexthop);
    if (route.hops.size() == 1) {
        if (route.hops[0].link != 0) message.value(RTA_OIF, route.hops[0].link);
        putGateway(message.raw(), route.hops[0], family);
        return message;
    }
    return message.nest(RTA_MULTIPATH, [&](RouteMessage& inside) {
        for (const NextHop4& hop : route.hops) {
            nlmsghdr* raw = inside.raw();
            const uint32_t start = raw->nlmsg_len;
            raw->nlmsg_len += static_cast<uint32_t>(sizeof(rtnexthop));
            putGateway(raw, hop, family);
            auto* header = reinterpret_cast<rtnexthop*>(reinterpret_cast<uint8_t*>(raw) + start);
            header->rtnh_len = static_cast<uint16_t>(raw->nlmsg_len - start);
            header->rtnh_flags = static_cast<uint8_t>(flagsOf(hop));
            header->rtnh_ifindex = static_cast<int>(hop.link);
        }
    });
}

inline Route4 with(Route4 route, uint32_t metric, uint8_t tos = 0) {
    route.metric = metric;
    route.tos = tos;
    return route;
}

inline std::string text(uint32_t address) { return dotted(address); }
inline std::string text(const InetAddress& address) {
    EXPECT_TRUE(std::ranges::all_of(address.octets().subspan(std::min<size_t>(4, address.size)), std::logical_not()));
    return dotted(Ipv4::address(std::span(address.all).first(4), 0));
}
/// A row of either family as "10.0.0.0/8 10.1.1.1 dev 2 metric 5"; the metric is omitted if it is 0.
template <class Family>
std::string text(const RouteEntry<Family>& row) {
    return text(row.destination) + "/" + std::to_string(row.length) + " " + text(row.gateway) + " dev " +
           std::to_string(row.link) + (row.metric == 0 ? "" : " metric " + std::to_string(row.metric));
}

template <class Family>
std::vector<std::string> rowsOf(const RouteTable<Family>& table) {
    std::vector<std::string> all;
    for (const auto* row = table.firstFrom({}); row != nullptr; row = table.after(*row)) all.push_back(text(*row));
    EXPECT_EQ(table.size(), all.size());
    return all;
}

/// The kernel's message about a nexthop object. groupOf() makes one about a group of them.
inline NetlinkMessage<nhmsg> object(uint32_t id, const NextHop4& hop, uint16_t type = RTM_NEWNEXTHOP,
                                    uint8_t family = AF_INET) {
    NetlinkMessage<nhmsg> message(type, {});
    message.value(NHA_ID, id).value(NHA_OIF, hop.link);
    if (hop.gateway != 0) return message.octets(NHA_GATEWAY, octetsOf(hop.gateway, family));
    const size_t others = family == AF_INET ? 16 : 4;
    return hop.hasGateway ? message.octets(NHA_GATEWAY, std::vector<uint8_t>(others, 1)) : message;
}
inline NetlinkMessage<nhmsg> groupOf(uint32_t id, const std::vector<uint32_t>& members) {
    std::vector<nexthop_grp> group;
    for (const uint32_t member : members) group.push_back({.id = member, .weight = 0, .resvd1 = 0, .resvd2 = 0});
    NetlinkMessage<nhmsg> message(RTM_NEWNEXTHOP, {});
    mnl_attr_put(message.raw(), NHA_GROUP, group.size() * sizeof group[0], group.data());
    return message.value(NHA_ID, id);
}
/// A route for which the kernel reports only the nexthop object's id.
inline Route4 by(uint32_t nexthop, const std::string& prefix) {
    Route4 route = routeTo(prefix, {NextHop4{}});
    route.nexthop = nexthop;
    return route;
}

}  // namespace hostd
