#include "hostd/inet/route.h"

#include <arpa/inet.h>
#include <linux/rtnetlink.h>

#include "hostd/inet/multipath.h"
#include "hostd/netlink/attributes.h"
#include "hostd/netlink/ipv4_mask.h"

namespace hostd {

namespace {

/// The gateway in the attributes of a route or of one of its next hops.
template <class All>
void readGateway(const All& attributes, Route::NextHop& hop) {
    const auto gateway = attributes.template number<uint32_t>(RTA_GATEWAY);
    hop.gateway = ntohl(gateway.value_or(0));
    hop.hasGateway = hop.gateway != 0 || attributes[RTA_VIA] != nullptr;
}

/// Appends the next hops in an RTA_MULTIPATH.
void readMultipath(std::span<const uint8_t> octets, std::vector<Route::NextHop>& hops) {
    forEachHop(octets, [&hops](const rtnexthop& header, const Attributes<RTA_VIA>& attributes) {
        Route::NextHop& hop = hops.emplace_back();
        hop.link = static_cast<uint32_t>(header.rtnh_ifindex);
        hop.isUsable = isUsable(header.rtnh_flags);
        readGateway(attributes, hop);
    });
}

}  // namespace

bool isUsable(unsigned flags) { return (flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN)) == 0; }

bool readRoute(const nlmsghdr& message, Route& route) {
    const auto* about = payload<rtmsg>(message);
    if (about == nullptr || about->rtm_family != AF_INET || about->rtm_dst_len > 32) return false;
    if ((about->rtm_flags & RTM_F_CLONED) != 0) return false;  // an entry of the route cache
    const Attributes<RTA_NH_ID> attributes(message, sizeof(rtmsg));
    if (attributes.number<uint32_t>(RTA_TABLE).value_or(about->rtm_table) != RT_TABLE_MAIN) return false;

    route.length = about->rtm_dst_len;
    route.destination = ntohl(attributes.number<uint32_t>(RTA_DST).value_or(0)) & maskOf(route.length);
    route.tos = about->rtm_tos;
    route.type = about->rtm_type;
    route.protocol = about->rtm_protocol;
    route.metric = attributes.number<uint32_t>(RTA_PRIORITY).value_or(0);
    route.nexthop = attributes.number<uint32_t>(RTA_NH_ID).value_or(0);
    route.hops.clear();
    readMultipath(attributes.octets(RTA_MULTIPATH), route.hops);
    if (!route.hops.empty()) return true;
    Route::NextHop& hop = route.hops.emplace_back();
    hop.link = attributes.number<uint32_t>(RTA_OIF).value_or(0);
    hop.isUsable = isUsable(about->rtm_flags);
    readGateway(attributes, hop);
    return true;
}

}  // namespace hostd
