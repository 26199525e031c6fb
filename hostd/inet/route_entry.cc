#include "hostd/inet/route_entry.h"

namespace hostd {

template <class Family>
RouteEntry<Family>::RouteEntry(const Route<Family>& route, const typename Route<Family>::NextHop& hop, int32_t placed,
                               uint8_t listed)
    : destination(route.destination),
      gateway(hop.gateway),
      metric(route.metric),
      link(hop.link),
      nexthop(route.nexthop),
      length(route.length),
      tos(route.tos),
      protocol(route.protocol),
      type(route.type & 0x3f),
      hasGateway(hop.hasGateway),
      isUsable(hop.isUsable),
      place(placed),
      listing(listed) {}

template <class Family>
bool RouteEntry<Family>::isBetterThan(const RouteEntry& other) const {
    // A route for one TOS carries few packets, so it comes last, whatever its metric.
    const auto rank = [](const RouteEntry& entry) {
        return std::tuple(entry.tos != 0, entry.metric, entry.place, entry.link);
    };
    return rank(*this) < rank(other);
}

template <class Family>
bool RouteEntry<Family>::isLike(const RouteEntry& other) const {
    const auto all = [](const RouteEntry& entry) {
        return std::tuple(entry.metric, entry.link, entry.nexthop, entry.tos, entry.protocol, entry.type);
    };
    return key() == other.key() && all(*this) == all(other);
}

template struct RouteEntry<Ipv4>;
template struct RouteEntry<Ipv6>;

}  // namespace hostd
