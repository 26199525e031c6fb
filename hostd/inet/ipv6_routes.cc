#include "hostd/inet/ipv6_routes.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>

#include "contracts/inet.h"
#include "hostd/inet/multipath.h"

namespace hostd {

namespace inet_routes = contracts::inet_routes;

namespace {

constexpr uint8_t kAddressBits = 128;

void requestIpv6Routes(NetlinkRequests& requests) {
    auto& about = requests.add<rtmsg>(RTM_GETROUTE, NLM_F_DUMP);
    about.rtm_family = AF_INET6;
    about.rtm_table = RT_TABLE_MAIN;
    requests.finish();
}

/// Reads the keys of a route's next hops. False for a message that is malformed or about another table.
bool readHops(const nlmsghdr& message, std::vector<Ipv6RouteKey>& hops) {
    const auto* about = payload<rtmsg>(message);
    if (about == nullptr || about->rtm_family != AF_INET6 || about->rtm_dst_len > kAddressBits) return false;
    if ((about->rtm_flags & RTM_F_CLONED) != 0) return false;
    const Attributes<RTA_NH_ID> attributes(message, sizeof *about);
    if (attributes.number<uint32_t>(RTA_TABLE).value_or(about->rtm_table) != RT_TABLE_MAIN) return false;
    constexpr std::array<uint8_t, 16> kDefault{};
    const auto given = attributes.octets(RTA_DST);
    const std::span<const uint8_t> destination = given.size() == kDefault.size() ? given : std::span(kDefault);
    const uint32_t metric = attributes.number<uint32_t>(RTA_PRIORITY).value_or(0);

    hops.clear();
    const auto add = [&](uint32_t link, std::span<const uint8_t> gateway) {
        hops.push_back({InetAddress(destination, link), about->rtm_dst_len, InetAddress(gateway, link), metric, link});
    };
    forEachHop(attributes.octets(RTA_MULTIPATH), [&](const rtnexthop& header, const Attributes<RTA_VIA>& hop) {
        add(static_cast<uint32_t>(header.rtnh_ifindex), hop.octets(RTA_GATEWAY));
    });
    if (hops.empty()) add(attributes.number<uint32_t>(RTA_OIF).value_or(0), attributes.octets(RTA_GATEWAY));
    return true;
}

}  // namespace

Ipv6Routes::Ipv6Routes(FirstReading first)
    : KernelTable({inet_routes::Type, KeyField::variable(inet_routes::Destination, InetAddress::kMaxOctets),
                   inet_routes::Length, inet_routes::GatewayType,
                   KeyField::variable(inet_routes::Gateway, InetAddress::kMaxOctets)},
                  {"IPv6 routes", RTMGRP_IPV6_ROUTE, requestIpv6Routes}, first) {}

// The kernel's IPv6 routes with one prefix and metric are next hops of one route if they have gateways. A notification
// names those that were added, or all; that of a removal names those that have gone. NLM_F_REPLACE names all that
// remain.
void Ipv6Routes::apply(const nlmsghdr& message, std::chrono::milliseconds) {
    const bool isNew = message.nlmsg_type == RTM_NEWROUTE;
    if ((!isNew && message.nlmsg_type != RTM_DELROUTE) || !readHops(message, hops_)) return;
    const auto* about = payload<rtmsg>(message);
    if (isNew && (message.nlmsg_flags & NLM_F_REPLACE) != 0) {
        const Ipv6RouteKey& one = hops_.front();
        const bool hasGateway = one.gateway.size > 0;
        const Ipv6RouteKey first{one.destination, one.length, {}, 0, 0};
        removeFrom(
            first,
            [&](const Ipv6RouteKey& key) { return key.destination == one.destination && key.length == one.length; },
            [&](const Ipv6RouteKey& key) { return key.metric == one.metric && (key.gateway.size > 0) == hasGateway; });
    }
    for (const Ipv6RouteKey& hop : hops_) {
        if (isNew)
            put(hop, {about->rtm_type, about->rtm_protocol});
        else
            remove(hop);
    }
}

}  // namespace hostd
