#include "hostd/inet/route_entry.h"

namespace hostd {

RouteEntry::RouteEntry(const Route& route, const Route::NextHop& hop, int32_t placed, uint8_t listed)
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

bool RouteEntry::isBetterThan(const RouteEntry& other) const {
    // A route for one TOS carries few packets, so it comes last, whatever its metric.
    const auto rank = [](const RouteEntry& entry) {
        return std::tuple(entry.tos != 0, entry.metric, entry.place, entry.link);
    };
    return rank(*this) < rank(other);
}

bool RouteEntry::isLike(const RouteEntry& other) const {
    const auto all = [](const RouteEntry& entry) {
        return std::tuple(entry.metric, entry.link, entry.nexthop, entry.tos, entry.protocol, entry.type);
    };
    return key() == other.key() && all(*this) == all(other);
}

}  // namespace hostd
