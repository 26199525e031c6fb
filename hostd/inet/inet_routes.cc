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

/// Both addresses as they are in the table's index.
InetAddress destinationOf(const RouteEntry<Ipv4>& entry) { return ofIPv4(entry.destination); }
InetAddress destinationOf(const RouteEntry<Ipv6>& entry) { return entry.destination; }
InetAddress gatewayOf(const RouteEntry<Ipv4>& entry) {
    return entry.gateway == 0 ? InetAddress() : ofIPv4(entry.gateway);
}
InetAddress gatewayOf(const RouteEntry<Ipv6>& entry) { return entry.gateway; }

uint8_t lengthAt(const RowKey& key) {
    return static_cast<uint8_t>(std::min<uint32_t>(key.u32(kAddressOctets), UINT8_MAX));
}

/// A gateway begins there in a key.
constexpr size_t kGatewayOctets = kAddressOctets + 4;

template <class Family>
RowKey rowKeyOf(const RouteEntry<Family>& entry) {
    return KeyComposer().address(destinationOf(entry)).u32(entry.length).address(gatewayOf(entry)).key();
}

template <class Family>
void writeRoute(const RouteEntry<Family>& entry, tn::message& item) {
    const InetAddress destination = destinationOf(entry);
    const InetAddress gateway = gatewayOf(entry);
    item.insert_u32(inet_routes::Type, static_cast<uint32_t>(destination.type));
    item.insert_raw(inet_routes::Destination, destination.octets());
    item.insert_u32(inet_routes::Length, entry.length);
    item.insert_u32(inet_routes::GatewayType, static_cast<uint32_t>(gateway.type));
    item.insert_raw(inet_routes::Gateway, gateway.octets());
    item.insert_u32(inet_routes::Interface, entry.link);
    item.insert_u32(inet_routes::Metric, entry.metric);
    item.insert_u32(inet_routes::RouteType, entry.type);
    item.insert_u32(inet_routes::Protocol, entry.protocol);
}

/// Calls `add` with each entry of a default route.
template <class Family, class Add>
void forEachDefault(const RouteTable<Family>& routes, const Add& add) {
    const RouteKey<Family> first{.destination = Family::network({}, 0, 0), .length = 0, .gateway = {}};
    for (const auto* one = routes.firstFrom(first); one != nullptr; one = routes.after(*one)) {
        if (one->destination != first.destination || one->length != 0) return;
        add(*one);
    }
}

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

uint32_t InetRoutes::rowCount() const { return static_cast<uint32_t>(ipv4_.table().size() + ipv6_->table().size()); }

std::optional<InetRouteRow> InetRoutes::lowerBound(const RowKey& key) const {
    const InetAddress destination = addressAt(key, 0);
    const auto from = ipv4From(destination);
    if (!from) return firstOfIpv6(key);
    RouteKey<Ipv4> first{.destination = *from};
    if (destination.type == Type::IPv4 && destination.size == 4) {
        first.length = lengthAt(key);
        const InetAddress gateway = addressAt(key, kGatewayOctets);
        // No gateway, which is 0 in the table, has the lowest type here.
        first.gateway = gateway.type == Type::Unknown ? 0 : std::max(ipv4From(gateway).value_or(UINT32_MAX), 1U);
    }
    const auto* found = ipv4_.table().firstFrom(first);
    return found != nullptr ? std::optional(InetRouteRow{.ipv4 = found}) : firstOfIpv6(key);
}

std::optional<InetRouteRow> InetRoutes::firstOfIpv6(const RowKey& key) const {
    const auto* found = ipv6_->table().firstFrom({addressAt(key, 0), lengthAt(key), addressAt(key, kGatewayOctets)});
    return found != nullptr ? std::optional(InetRouteRow{.ipv6 = found}) : std::nullopt;
}

std::optional<InetRouteRow> InetRoutes::after(InetRouteRow row) const {
    if (row.ipv4 != nullptr) {
        const auto* next = ipv4_.table().after(*row.ipv4);
        return next != nullptr ? std::optional(InetRouteRow{.ipv4 = next}) : firstOfIpv6(RowKey(keyOf(row).size()));
    }
    const auto* next = ipv6_->table().after(*row.ipv6);
    return next != nullptr ? std::optional(InetRouteRow{.ipv6 = next}) : std::nullopt;
}

RowKey InetRoutes::keyOf(InetRouteRow row) const {
    return row.ipv4 != nullptr ? rowKeyOf(*row.ipv4) : rowKeyOf(*row.ipv6);
}

void InetRoutes::writeRow(InetRouteRow row, tn::message& item) const {
    row.ipv4 != nullptr ? writeRoute(*row.ipv4, item) : writeRoute(*row.ipv6, item);
}

DefaultRouters::DefaultRouters(Routes& ipv4, std::shared_ptr<Ipv6Routes> ipv6)
    : PositionTable(routerKeyFields()), ipv4_(ipv4), ipv6_(std::move(ipv6)), fields_(routerKeyFields()) {}

void DefaultRouters::refresh() {
    ipv4_.refresh();
    ipv6_->refresh();
    rows_.clear();
    const auto add = [this](const auto& entry) {
        const InetAddress gateway = gatewayOf(entry);
        if (gateway.size > 0) rows_.push_back(KeyComposer().address(gateway).u32(entry.link).key());
    };
    forEachDefault(ipv4_.table(), add);
    forEachDefault(ipv6_->table(), add);
    const auto isBelow = [](const RowKey& a, const RowKey& b) { return a < b; };
    std::ranges::sort(rows_, isBelow);
}

}  // namespace hostd
