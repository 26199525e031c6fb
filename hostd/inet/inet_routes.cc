#include "hostd/inet/inet_routes.h"

#include <algorithm>
#include <utility>

#include "contracts/inet.h"

namespace hostd {

namespace default_routers = contracts::default_routers;
namespace inet_routes = contracts::inet_routes;

namespace {

using Type = InetAddress::Type;

InetAddress ofIPv4(uint32_t address) {
    const std::array<uint8_t, 4> octets = {static_cast<uint8_t>(address >> 24), static_cast<uint8_t>(address >> 16),
                                           static_cast<uint8_t>(address >> 8), static_cast<uint8_t>(address)};
    return InetAddress(octets);
}

InetAddress gatewayOf(const RouteEntry& entry) { return entry.gateway == 0 ? InetAddress() : ofIPv4(entry.gateway); }

/// The lowest IPv4 address that isn't below this one; nothing if all are.
std::optional<uint32_t> ipv4From(const InetAddress& address) {
    if (address.type < Type::IPv4 || (address.type == Type::IPv4 && address.size < 4)) return 0;
    if (address.type > Type::IPv4 || address.size > 4) return {};
    uint32_t value = 0;
    for (const uint8_t octet : address.octets()) value = value << 8 | octet;
    return value;
}

std::vector<KeyField> routeKeyFields() {
    return {inet_routes::Type, KeyField::variable(inet_routes::Destination, InetAddress::kMaxOctets),
            inet_routes::Length, inet_routes::GatewayType,
            KeyField::variable(inet_routes::Gateway, InetAddress::kMaxOctets)};
}

std::vector<KeyField> routerKeyFields() {
    return {default_routers::Type, KeyField::variable(default_routers::Address, InetAddress::kMaxOctets),
            default_routers::Interface};
}

}  // namespace

InetRoutes::InetRoutes(Routes& ipv4, std::shared_ptr<Ipv6Routes> ipv6)
    : OwnerTable(routeKeyFields()), ipv4_(ipv4), ipv6_(std::move(ipv6)) {}

void InetRoutes::refresh() {
    ipv4_.refresh();
    ipv6_->refresh();
}

uint32_t InetRoutes::rowCount() const { return static_cast<uint32_t>(ipv4_.table().size()) + ipv6_->rowCount(); }

std::optional<InetRouteRow> InetRoutes::lowerBound(const RowKey& key) const {
    const InetAddress destination = addressAt(key, 0);
    const auto from = ipv4From(destination);
    if (!from) return firstOfIpv6(key);
    RouteKey first{.destination = *from};
    if (destination.type == Type::IPv4 && destination.size == 4) {
        first.length = static_cast<uint8_t>(std::min<uint32_t>(key.u32(kAddressOctets), UINT8_MAX));
        const InetAddress gateway = addressAt(key, kAddressOctets + 4);
        // No gateway, which is 0 in the table, has the lowest type here.
        first.gateway = gateway.type == Type::Unknown ? 0 : std::max(ipv4From(gateway).value_or(UINT32_MAX), 1U);
    }
    const RouteEntry* found = ipv4_.table().firstFrom(first);
    return found != nullptr ? std::optional(InetRouteRow{.ipv4 = found}) : firstOfIpv6(key);
}

std::optional<InetRouteRow> InetRoutes::firstOfIpv6(const RowKey& key) const {
    const auto found = ipv6_->lowerBound(key);
    return found ? std::optional(InetRouteRow{.ipv6 = *found}) : std::nullopt;
}

std::optional<InetRouteRow> InetRoutes::after(InetRouteRow row) const {
    if (row.ipv4 != nullptr) {
        const RouteEntry* next = ipv4_.table().after(*row.ipv4);
        return next != nullptr ? std::optional(InetRouteRow{.ipv4 = next}) : firstOfIpv6(RowKey(keyOf(row).size()));
    }
    const auto next = ipv6_->after(row.ipv6);
    return next ? std::optional(InetRouteRow{.ipv6 = *next}) : std::nullopt;
}

RowKey InetRoutes::keyOf(InetRouteRow row) const {
    if (row.ipv4 == nullptr) return row.ipv6->first.row();
    return KeyComposer()
        .address(ofIPv4(row.ipv4->destination))
        .u32(row.ipv4->length)
        .address(gatewayOf(*row.ipv4))
        .key();
}

void InetRoutes::writeRow(InetRouteRow row, tn::message& item) const {
    const auto write = [&item](const InetAddress& destination, uint32_t length, const InetAddress& gateway,
                               uint32_t link, uint32_t metric, uint8_t type, uint8_t protocol) {
        item.insert_u32(inet_routes::Type, static_cast<uint32_t>(destination.type));
        item.insert_raw(inet_routes::Destination, destination.octets());
        item.insert_u32(inet_routes::Length, length);
        item.insert_u32(inet_routes::GatewayType, static_cast<uint32_t>(gateway.type));
        item.insert_raw(inet_routes::Gateway, gateway.octets());
        item.insert_u32(inet_routes::Interface, link);
        item.insert_u32(inet_routes::Metric, metric);
        item.insert_u32(inet_routes::RouteType, type);
        item.insert_u32(inet_routes::Protocol, protocol);
    };
    if (row.ipv4 != nullptr) {
        const RouteEntry& entry = *row.ipv4;
        write(ofIPv4(entry.destination), entry.length, gatewayOf(entry), entry.link, entry.metric, entry.type,
              entry.protocol);
    } else {
        const auto& [key, route] = *row.ipv6;
        write(key.destination, key.length, key.gateway, key.link, key.metric, route.type, route.protocol);
    }
}

DefaultRouters::DefaultRouters(Routes& ipv4, std::shared_ptr<Ipv6Routes> ipv6)
    : OwnerTable(routerKeyFields()), ipv4_(ipv4), ipv6_(std::move(ipv6)), fields_(routerKeyFields()) {}

void DefaultRouters::refresh() {
    ipv4_.refresh();
    ipv6_->refresh();
    rows_.clear();
    const auto add = [this](const InetAddress& gateway, uint32_t link) {
        if (gateway.size > 0) rows_.push_back(KeyComposer().address(gateway).u32(link).key());
    };
    const RouteTable& routes = ipv4_.table();
    for (const RouteEntry* one = routes.firstFrom({}); one != nullptr; one = routes.after(*one)) {
        if (one->destination != 0 || one->length != 0) break;
        add(gatewayOf(*one), one->link);
    }
    const std::array<uint8_t, 16> any{};
    const RowKey first = Ipv6RouteKey{InetAddress(any), 0, {}}.row();
    for (auto one = ipv6_->lowerBound(first); one; one = ipv6_->after(*one)) {
        const Ipv6RouteKey& key = (*one)->first;
        if (key.destination != InetAddress(any) || key.length != 0) break;
        add(key.gateway, key.link);
    }
    const auto isBelow = [](const RowKey& a, const RowKey& b) { return a < b; };
    std::ranges::sort(rows_, isBelow);
}

std::optional<size_t> DefaultRouters::lowerBound(const RowKey& key) const {
    const auto found = std::ranges::lower_bound(rows_, key, [](const RowKey& a, const RowKey& b) { return a < b; });
    return found == rows_.end() ? std::nullopt : std::optional(static_cast<size_t>(found - rows_.begin()));
}

}  // namespace hostd
