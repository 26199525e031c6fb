#pragma once

#include <compare>
#include <cstdint>
#include <tuple>

#include "hostd/inet/route.h"

namespace hostd {

/// The key of a RouteTable's row. Rows are ordered by destination, mask and gateway, each unsigned.
struct RouteKey {
    uint32_t destination = 0;
    uint8_t length = 0;  ///< masks order as their lengths do
    uint32_t gateway = 0;
    friend auto operator<=>(const RouteKey& a, const RouteKey& b) {
        return std::tie(a.destination, a.length, a.gateway) <=> std::tie(b.destination, b.length, b.gateway);
    }
    friend bool operator==(const RouteKey&, const RouteKey&) = default;
};

/// One next hop of one route, in 32 octets: a table can have a million of them.
struct RouteEntry {
    uint32_t destination, gateway, metric, link, nexthop;
    uint8_t length, tos, protocol;
    uint8_t type : 6;
    bool hasGateway : 1;
    bool isUsable : 1;
    int32_t place;            ///< position of its route among those with the same id, ascending
    mutable uint8_t listing;  ///< number of the last listing or notification that had it; doesn't affect the order

    /// @param hop      one of the route's
    /// @param placed   place
    /// @param listed   listing
    RouteEntry(const Route& route, const Route::NextHop& hop, int32_t placed, uint8_t listed);
    [[nodiscard]] RouteKey key() const { return {destination, length, gateway}; }
    /// True if both are, as far as can be seen, the same next hop of the same route.
    [[nodiscard]] bool isLike(const RouteEntry& other) const;
    /// True if packets prefer this one of two with the same key.
    [[nodiscard]] bool isBetterThan(const RouteEntry& other) const;
};

/// The kernel's own key of a route: prefix, TOS and metric. Several routes may share it (`ip route append`); the kernel
/// keeps these in an order, and uses the first one.
struct RouteId {
    uint32_t destination = 0, metric = 0;
    uint8_t length = 0, tos = 0;

    RouteId() = default;
    explicit RouteId(const Route& route)
        : destination(route.destination), metric(route.metric), length(route.length), tos(route.tos) {}
    friend bool operator==(const RouteId&, const RouteId&) = default;
    /// The lowest key of its entries.
    [[nodiscard]] RouteKey prefix() const { return {destination, length, 0}; }
    [[nodiscard]] bool hasPrefixOf(const RouteEntry& entry) const {
        return entry.destination == destination && entry.length == length;
    }
    [[nodiscard]] bool isOf(const RouteEntry& entry) const {
        return hasPrefixOf(entry) && entry.metric == metric && entry.tos == tos;
    }
};

}  // namespace hostd
