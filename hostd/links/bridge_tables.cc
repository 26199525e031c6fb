#include "hostd/links/bridge_tables.h"

#include <algorithm>

namespace hostd {

namespace bridge_hosts = contracts::bridge_hosts;
namespace bridge_ports = contracts::bridge_ports;
namespace bridge_vlans = contracts::bridge_vlans;
namespace first_bridge = contracts::first_bridge;

namespace {

constexpr std::chrono::seconds kMaxAge{2};

/// The octets of a key: those of the VLAN, if the order has it, and the address.
RowKey keyOfHost(const BridgeHost& host, BridgeHosts::Order order) {
    const size_t at = order == BridgeHosts::Order::ByVlan ? 4 : 0;
    RowKey key(at + host.mac.size());
    if (at != 0) key.putU32(0, host.vlan);
    std::ranges::copy(host.mac, key.part(at, host.mac.size()).begin());
    return key;
}

std::vector<KeyField> keyFields(BridgeHosts::Order order) {
    const KeyField mac(bridge_hosts::Mac, std::tuple_size_v<decltype(BridgeHost::mac)>);
    if (order == BridgeHosts::Order::ByVlan) return {bridge_hosts::Vlan, mac};
    return {mac};
}

}  // namespace

std::shared_ptr<FirstBridge> watchFirstBridge(std::function<std::optional<Bridge>()> read) {
    return std::make_shared<FirstBridge>("bridge", std::move(read), kMaxAge);
}

tn::message BridgeState::cmdGet(const tn::message&) {
    tn::message reply;
    const auto bridge = source_->latest();
    if (!bridge || bridge->ifindex == 0) return reply;
    reply.insert_u32(first_bridge::Ifindex, bridge->ifindex);
    reply.insert_u32(first_bridge::Ports, static_cast<uint32_t>(bridge->ports.size()));
    reply.insert_raw(first_bridge::RootId, bridge->rootId);
    reply.insert_u32(first_bridge::RootCost, bridge->rootCost);
    reply.insert_u32(first_bridge::RootPort, bridge->rootPort);
    reply.insert_u32(first_bridge::MaxAge, bridge->maxAge);
    reply.insert_u32(first_bridge::HelloTime, bridge->helloTime);
    reply.insert_u32(first_bridge::ForwardDelay, bridge->forwardDelay);
    reply.insert_u32(first_bridge::AgeingTime, bridge->ageingTime);
    reply.insert_bool(first_bridge::IsRoot, bridge->rootId == bridge->id);
    reply.insert_bool(first_bridge::VlanAware, bridge->isVlanAware);
    reply.insert_u32(first_bridge::Vlans, static_cast<uint32_t>(bridge->vlans.size()));
    return reply;
}

void BridgePorts::writeRow(uint32_t id, tn::message& row) const {
    const BridgePort& port = bridge().ports.at(id);
    row.insert_u32(bridge_ports::Ifindex, port.ifindex);
    row.insert_u32(bridge_ports::Mtu, port.mtu);
    row.insert_u32(bridge_ports::State, static_cast<uint32_t>(port.state));
    row.insert_u32(bridge_ports::PortId, port.id);
    row.insert_u32(bridge_ports::Cost, port.cost);
    row.insert_raw(bridge_ports::Root, port.root);
    row.insert_u32(bridge_ports::DesignatedCost, port.designatedCost);
    row.insert_raw(bridge_ports::DesignatedBridge, port.designatedBridge);
    row.insert_u32(bridge_ports::DesignatedPort, port.designatedPort);
    row.insert_bool(bridge_ports::Enabled, port.isEnabled);
    row.insert_u64(bridge_ports::InFrames, port.inFrames);
    row.insert_u64(bridge_ports::OutFrames, port.outFrames);
    row.insert_u64(bridge_ports::InDiscards, port.inDiscards);
    if (bridge().isVlanAware) row.insert_u32(bridge_ports::Pvid, port.pvid);
}

void BridgeVlans::writeRow(uint32_t id, tn::message& row) const {
    const BridgeVlan& vlan = bridge().vlans.at(id);
    row.insert_raw(bridge_vlans::Egress, vlan.egress);
    row.insert_raw(bridge_vlans::Untagged, vlan.untagged);
    row.insert_u32(bridge_vlans::Learned, vlan.learned);
}

BridgeHosts::BridgeHosts(std::shared_ptr<FirstBridge> source, Order order)
    : PositionTable(keyFields(order)), source_(std::move(source)), order_(order) {}

const std::vector<BridgeHost>& BridgeHosts::hosts() const {
    static const std::vector<BridgeHost> kNone;
    if (!bridge_) return kNone;
    return order_ == Order::ByMac ? bridge_->byMac : bridge_->byVlan;
}

RowKey BridgeHosts::keyOf(size_t row) const { return keyOfHost(hosts()[row], order_); }

void BridgeHosts::writeRow(size_t row, tn::message& item) const {
    const BridgeHost& host = hosts()[row];
    item.insert_u32(bridge_hosts::Vlan, host.vlan);
    item.insert_raw(bridge_hosts::Mac, host.mac);
    item.insert_u32(bridge_hosts::Port, host.port);
    item.insert_u32(bridge_hosts::Status, static_cast<uint32_t>(host.status));
}

}  // namespace hostd
