#include "hostd/inet/route.h"

#include <linux/rtnetlink.h>

#include "hostd/inet/multipath.h"
#include "hostd/netlink/attributes.h"

namespace hostd {

namespace {

/// @param octets  of the RTA_GATEWAY of a route or of one of its next hops
/// @param isVia   it has an RTA_VIA
template <class Family>
void setGateway(typename Route<Family>::NextHop& hop, std::span<const uint8_t> octets, bool isVia) {
    hop.gateway = Family::address(octets, hop.link);
    hop.hasGateway = hop.gateway != typename Family::Address{} || isVia;
}

/// Appends the next hops in an RTA_MULTIPATH.
template <class Family>
void readMultipath(std::span<const uint8_t> octets, std::vector<typename Route<Family>::NextHop>& hops) {
    forEachHop(octets, [&hops](const rtnexthop& header, const Attributes<RTA_VIA>& attributes) {
        auto& hop = hops.emplace_back();
        hop.link = static_cast<uint32_t>(header.rtnh_ifindex);
        hop.isUsable = isUsable(header.rtnh_flags);
        setGateway<Family>(hop, attributes.octets(RTA_GATEWAY), attributes[RTA_VIA] != nullptr);
    });
}

}  // namespace

bool isUsable(unsigned flags) { return (flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN)) == 0; }

template <class Family>
bool readRoute(const nlmsghdr& message, Route<Family>& route) {
    const auto* about = payload<rtmsg>(message);
    if (about == nullptr || about->rtm_family != Family::kFamily) return false;
    if (about->rtm_dst_len > Family::kMaxLength) return false;
    if ((about->rtm_flags & RTM_F_CLONED) != 0) return false;  // an entry of the route cache
    const Attributes<RTA_NH_ID> attributes(message, sizeof(rtmsg));
    if (attributes.number<uint32_t>(RTA_TABLE).value_or(about->rtm_table) != RT_TABLE_MAIN) return false;

    route.length = about->rtm_dst_len;
    route.tos = about->rtm_tos != 0 ? about->rtm_tos : about->rtm_src_len;  // neither family has both
    route.type = about->rtm_type;
    route.protocol = about->rtm_protocol;
    route.metric = attributes.number<uint32_t>(RTA_PRIORITY).value_or(0);
    route.nexthop = attributes.number<uint32_t>(RTA_NH_ID).value_or(0);
    route.hops.clear();
    readMultipath<Family>(attributes.octets(RTA_MULTIPATH), route.hops);
    if (route.hops.empty()) {
        auto& hop = route.hops.emplace_back();
        hop.link = attributes.number<uint32_t>(RTA_OIF).value_or(0);
        hop.isUsable = isUsable(about->rtm_flags);
        setGateway<Family>(hop, attributes.octets(RTA_GATEWAY), attributes[RTA_VIA] != nullptr);
    }
    route.destination = Family::network(attributes.octets(RTA_DST), route.length, route.hops.front().link);
    return true;
}

template bool readRoute(const nlmsghdr& message, Route<Ipv4>& route);
template bool readRoute(const nlmsghdr& message, Route<Ipv6>& route);

}  // namespace hostd
