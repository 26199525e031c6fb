#include "hostd/inet/routes.h"

#include <linux/rtnetlink.h>

#include <bit>

#include "contracts/routes.h"
#include "hostd/netlink/ipv4_mask.h"

namespace hostd {

namespace routes = contracts::routes;

namespace {

constexpr size_t kMaskAt = 4;  // octets of a key
constexpr size_t kGatewayAt = 8;
constexpr size_t kKeySize = 12;

bool discards(uint8_t type) {
    return type == RTN_BLACKHOLE || type == RTN_UNREACHABLE || type == RTN_PROHIBIT || type == RTN_THROW;
}

uint32_t kindOf(const Routes::Entry& entry) {
    if (discards(entry.type)) return routes::kind::Discarding;
    if (!entry.hasGateway && entry.link != 0) return routes::kind::Connected;
    switch (entry.protocol) {
        case RTPROT_STATIC:
        case RTPROT_BOOT:
            return routes::kind::Static;
        case RTPROT_RIP:
            return routes::kind::Rip;
        case RTPROT_OSPF:
            return routes::kind::Ospf;
        case RTPROT_BGP:
            return routes::kind::Bgp;
        default:
            return routes::kind::Other;
    }
}

/// The lowest key of a route that isn't below this row key, whose mask may be non-contiguous.
RouteKey<Ipv4> routeKey(const RowKey& key) {
    RouteKey<Ipv4> first{.destination = key.u32(0), .length = 0, .gateway = key.u32(kGatewayAt)};
    const uint32_t mask = key.u32(kMaskAt);
    const auto ones = static_cast<unsigned>(std::countl_one(mask));
    const bool hasHoles = mask != maskOf(ones);
    if (hasHoles) first.gateway = 0;
    first.length = static_cast<uint8_t>(hasHoles ? ones + 1 : ones);
    return first;
}

}  // namespace

Routes::Routes() : OwnerTable({routes::Destination, routes::Mask, routes::Gateway}) {}

std::optional<const Routes::Entry*> Routes::lowerBound(const RowKey& key) const {
    const Entry* found = table().firstFrom(routeKey(key));
    return found == nullptr ? std::nullopt : std::optional(found);
}

std::optional<const Routes::Entry*> Routes::after(const Entry* row) const {
    const Entry* next = table().after(*row);
    return next == nullptr ? std::nullopt : std::optional(next);
}

RowKey Routes::keyOf(const Entry* row) const {
    RowKey key(kKeySize);
    key.putU32(0, row->destination);
    key.putU32(kMaskAt, maskOf(row->length));
    key.putU32(kGatewayAt, row->gateway);
    return key;
}

void Routes::writeRow(const Entry* row, tn::message& item) const {
    const Entry& entry = *row;
    if (!wanted().areAll()) return writeWanted(entry, item);
    const uint32_t kind = kindOf(entry);
    // In ascending order, which a message appends without searching: by kind, then by number.
    item.reserve(7);
    item.insert_be32(routes::Destination, entry.destination);
    item.insert_be32(routes::Mask, maskOf(entry.length));
    item.insert_be32(routes::Gateway, entry.gateway);
    item.insert_u32(routes::Kind, kind);
    item.insert_u32(routes::Distance, entry.metric);
    if (kind != routes::kind::Connected) item.insert_be32_array(routes::Gateways, {{entry.gateway}});
    item.insert_u32_array(routes::Interfaces, {entry.link});
}

void Routes::writeWanted(const Entry& entry, tn::message& item) const {
    item.reserve(7);
    item.insert_bool(routes::Single, true);
    item.insert_be32(routes::Destination, entry.destination);
    item.insert_be32(routes::Mask, maskOf(entry.length));
    item.insert_be32(routes::Gateway, entry.gateway);
    if (wanted().has(routes::Kind)) item.insert_u32(routes::Kind, kindOf(entry));
    if (wanted().has(routes::Distance)) item.insert_u32(routes::Distance, entry.metric);
    if (wanted().has(routes::Interfaces)) item.insert_u32_array(routes::Interfaces, {entry.link});
}

}  // namespace hostd
