#pragma once

#include <compare>
#include <cstdint>
#include <tuple>

#include "hostd/inet/route.h"

namespace hostd {

/// The key of a row in a RouteTable. Rows are ordered by destination, mask and gateway, each as an unsigned number, or
/// as an index of a table has them (InetAddress).
template <class Family>
struct RouteKey {
    typename Family::Address destination{};
    uint8_t length = 0;                  ///< of the prefix; the order of lengths is that of masks
    typename Family::Address gateway{};  ///< none sorts first
    friend auto operator<=>(const RouteKey& a, const RouteKey& b) {
        return std::tie(a.destination, a.length, a.gateway) <=> std::tie(b.destination, b.length, b.gateway);
    }
    friend bool operator==(const RouteKey&, const RouteKey&) = default;
};

/// One next hop of one route, packed, since a table can have a million of them.
template <class Family>
struct RouteEntry {
    typename Family::Address destination, gateway;
    uint32_t metric, link, nexthop;
    uint8_t length, tos, protocol;
    uint8_t type : 6;
    bool hasGateway : 1;
    bool isUsable : 1;
    int32_t place;  ///< orders the routes with the same RouteId; the kernel uses the lowest one
    /// Number of the listing that was the latest one when the entry was last listed or notified. Mutable, since it
    /// doesn't affect the order of entries.
    mutable uint8_t listing;

    /// @param hop     one of the route's next hops
    /// @param placed  the entry's `place`
    /// @param listed  the entry's `listing`
    RouteEntry(const Route<Family>& route, const typename Route<Family>::NextHop& hop, int32_t placed, uint8_t listed);
    [[nodiscard]] RouteKey<Family> key() const { return {destination, length, gateway}; }
    /// True if key, metric, link, nexthop object, TOS, protocol and type are the same. The entries may still belong to
    /// two routes, which differ in attributes that aren't stored.
    [[nodiscard]] bool isLike(const RouteEntry& other) const;
    /// True if this entry is preferred to another one with the same key. An entry for all TOS is preferred to one for a
    /// single TOS. If that doesn't decide, the lower metric is preferred, then the lower place, then the lower ifindex.
    [[nodiscard]] bool isBetterThan(const RouteEntry& other) const;
    /// True if this is the entry of that next hop of its route.
    [[nodiscard]] bool isOf(const typename Route<Family>::NextHop& hop) const {
        return gateway == hop.gateway && link == hop.link;
    }
};
static_assert(sizeof(RouteEntry<Ipv4>) == 32);
static_assert(sizeof(RouteEntry<Ipv6>) == 68);

/// The kernel's key of a route: prefix, TOS and metric. Several routes may have the same one (`ip route append`). The
/// kernel has an order for these and uses the first.
template <class Family>
struct RouteId {
    typename Family::Address destination{};
    uint32_t metric = 0;
    uint8_t length = 0, tos = 0;

    RouteId() = default;
    explicit RouteId(const Route<Family>& route)
        : destination(route.destination), metric(route.metric), length(route.length), tos(route.tos) {}
    friend bool operator==(const RouteId&, const RouteId&) = default;
    /// The lowest key that an entry of its routes can have.
    [[nodiscard]] RouteKey<Family> prefix() const { return {destination, length, {}}; }
    /// True if the entry has this prefix, with whatever TOS and metric.
    [[nodiscard]] bool hasPrefixOf(const RouteEntry<Family>& entry) const {
        return entry.destination == destination && entry.length == length;
    }
    /// True if the entry is of a route with this id.
    [[nodiscard]] bool isOf(const RouteEntry<Family>& entry) const {
        return hasPrefixOf(entry) && entry.metric == metric && entry.tos == tos;
    }
};

}  // namespace hostd
