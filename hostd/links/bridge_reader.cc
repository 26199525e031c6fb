#include "hostd/links/bridge_reader.h"

#include <net/if.h>  // before <linux/if.h>, which then leaves out what it defines

#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <tuple>
#include <utility>

#include "hostd/netlink/netlink.h"

namespace hostd {

namespace {

using contracts::bridge_hosts::HostStatus;
using contracts::bridge_ports::PortState;

constexpr uint32_t kMostPorts = 1023;  // BR_MAX_PORTS of the kernel
constexpr uint32_t kMostVlans = 4094;

/// The octets of an RTM_NEWLINK's header; nullptr for other messages.
const ifinfomsg* linkOf(const nlmsghdr& message, int family) {
    const auto* header = message.nlmsg_type == RTM_NEWLINK ? payload<ifinfomsg>(message) : nullptr;
    return header != nullptr && header->ifi_family == family && header->ifi_index > 0 ? header : nullptr;
}

/// The attributes in IFLA_INFO_DATA of a link of this kind, or in IFLA_INFO_SLAVE_DATA of a port of one.
std::optional<std::span<const uint8_t>> dataOf(const nlattr* info, size_t kindType, size_t dataType) {
    const Attributes<IFLA_INFO_MAX> attributes(info);
    if (attributes.text(kindType) != "bridge") return {};
    return attributes.octets(dataType);
}

PortState stateOf(uint8_t state) {
    switch (state) {
        case BR_STATE_LISTENING:
            return PortState::Listening;
        case BR_STATE_LEARNING:
            return PortState::Learning;
        case BR_STATE_FORWARDING:
            return PortState::Forwarding;
        case BR_STATE_BLOCKING:
            return PortState::Blocking;
        default:
            return PortState::Disabled;
    }
}

void include(std::vector<uint8_t>& ports, uint32_t number) {
    const size_t at = (number - 1) / 8;
    if (ports.size() <= at) ports.resize(at + 1);
    ports[at] = static_cast<uint8_t>(ports[at] | 0x80U >> (number - 1) % 8);
}

}  // namespace

void BridgeParser::addBridge(const nlmsghdr& message) {
    const ifinfomsg* header = linkOf(message, AF_UNSPEC);
    if (header == nullptr) return;
    const auto index = static_cast<uint32_t>(header->ifi_index);
    const Attributes<IFLA_MAX> link(message, sizeof *header);
    const auto data = dataOf(link[IFLA_LINKINFO], IFLA_INFO_KIND, IFLA_INFO_DATA);
    if (!data || (bridge_.ifindex != 0 && bridge_.ifindex < index)) return;
    const Attributes<IFLA_BR_MAX> attributes(*data);
    const auto number = [&](size_t type) { return attributes.number<uint32_t>(type).value_or(0); };
    bridge_ = {};
    bridge_.ifindex = index;
    bridge_.id = attributes.number<BridgeId>(IFLA_BR_BRIDGE_ID).value_or(BridgeId{});
    bridge_.rootId = attributes.number<BridgeId>(IFLA_BR_ROOT_ID).value_or(BridgeId{});
    bridge_.rootCost = number(IFLA_BR_ROOT_PATH_COST);
    bridge_.rootPort = attributes.number<uint16_t>(IFLA_BR_ROOT_PORT).value_or(0);
    bridge_.maxAge = number(IFLA_BR_MAX_AGE);
    bridge_.helloTime = number(IFLA_BR_HELLO_TIME);
    bridge_.forwardDelay = number(IFLA_BR_FORWARD_DELAY);
    bridge_.ageingTime = number(IFLA_BR_AGEING_TIME);
    bridge_.isVlanAware = attributes.number<uint8_t>(IFLA_BR_VLAN_FILTERING).value_or(0) != 0;
}

void BridgeParser::addPort(const nlmsghdr& message) {
    const ifinfomsg* header = linkOf(message, AF_UNSPEC);
    if (header == nullptr) return;
    const Attributes<IFLA_MAX> link(message, sizeof *header);
    const auto data = dataOf(link[IFLA_LINKINFO], IFLA_INFO_SLAVE_KIND, IFLA_INFO_SLAVE_DATA);
    if (!data || bridge_.ifindex == 0 || link.number<uint32_t>(IFLA_MASTER) != bridge_.ifindex) return;
    const Attributes<IFLA_BRPORT_MAX> attributes(*data);
    const auto half = [&](size_t type) { return attributes.number<uint16_t>(type).value_or(0); };
    const uint32_t number = half(IFLA_BRPORT_NO);
    if (number == 0 || number > kMostPorts) return;

    BridgePort port;
    port.ifindex = static_cast<uint32_t>(header->ifi_index);
    port.isEnabled = (header->ifi_flags & IFF_UP) != 0;
    port.mtu = link.number<uint32_t>(IFLA_MTU).value_or(0);
    port.state = stateOf(attributes.number<uint8_t>(IFLA_BRPORT_STATE).value_or(BR_STATE_DISABLED));
    port.id = half(IFLA_BRPORT_ID);
    port.cost = attributes.number<uint32_t>(IFLA_BRPORT_COST).value_or(0);
    port.designatedCost = half(IFLA_BRPORT_DESIGNATED_COST);
    port.designatedPort = half(IFLA_BRPORT_DESIGNATED_PORT);
    port.root = attributes.number<BridgeId>(IFLA_BRPORT_ROOT_ID).value_or(BridgeId{});
    port.designatedBridge = attributes.number<BridgeId>(IFLA_BRPORT_BRIDGE_ID).value_or(BridgeId{});
    rtnl_link_stats64 counters{};
    if (const auto octets = link.octets(IFLA_STATS64); !octets.empty())
        std::memcpy(&counters, octets.data(), std::min(octets.size(), sizeof counters));
    port.inFrames = counters.rx_packets;
    port.outFrames = counters.tx_packets;
    port.inDiscards = counters.rx_dropped;
    numbers_[port.ifindex] = number;
    bridge_.ports[number] = port;
}

std::optional<uint32_t> BridgeParser::numberOf(uint32_t ifindex) const {
    if (ifindex == bridge_.ifindex) return 0;
    const auto found = numbers_.find(ifindex);
    return found == numbers_.end() ? std::nullopt : std::optional(found->second);
}

void BridgeParser::addVlans(const nlmsghdr& message) {
    const ifinfomsg* header = linkOf(message, AF_BRIDGE);
    if (header == nullptr || !bridge_.isVlanAware) return;
    const auto port = numberOf(static_cast<uint32_t>(header->ifi_index));
    if (!port) return;
    const Attributes<IFLA_MAX> link(message, sizeof *header);
    uint32_t rangeBegin = 0;
    forEachAttribute(link.octets(IFLA_AF_SPEC), [&](const nlattr& attribute) {
        const auto octets = octetsOf(&attribute);
        bridge_vlan_info info{};
        if (mnl_attr_get_type(&attribute) != IFLA_BRIDGE_VLAN_INFO || octets.size() < sizeof info) return;
        std::memcpy(&info, octets.data(), sizeof info);
        if ((info.flags & BRIDGE_VLAN_INFO_RANGE_BEGIN) != 0) {
            rangeBegin = info.vid;
            return;
        }
        const bool isRange = (info.flags & BRIDGE_VLAN_INFO_RANGE_END) != 0;
        const uint32_t last = std::min<uint32_t>(info.vid, kMostVlans);
        for (uint32_t vlan = std::max(isRange ? rangeBegin : info.vid, 1U); vlan <= last; ++vlan)
            addVlan(vlan, info.flags, *port);
    });
}

void BridgeParser::addVlan(uint32_t vlan, uint16_t flags, uint32_t port) {
    BridgeVlan& entry = bridge_.vlans[vlan];
    if (port == 0) return;
    include(entry.egress, port);
    if ((flags & BRIDGE_VLAN_INFO_UNTAGGED) != 0) include(entry.untagged, port);
    if ((flags & BRIDGE_VLAN_INFO_PVID) != 0) bridge_.ports[port].pvid = vlan;
}

void BridgeParser::addHost(const nlmsghdr& message) {
    const auto* header = message.nlmsg_type == RTM_NEWNEIGH ? payload<ndmsg>(message) : nullptr;
    if (header == nullptr || header->ndm_family != AF_BRIDGE || header->ndm_ifindex <= 0) return;
    const Attributes<NDA_MAX> attributes(message, sizeof *header);
    const auto mac = attributes.number<std::array<uint8_t, 6>>(NDA_LLADDR);
    const auto port = numberOf(static_cast<uint32_t>(header->ndm_ifindex));
    // An entry without a master is an address filter of a device, or belongs to a VXLAN.
    if (!mac || !port || attributes.number<uint32_t>(NDA_MASTER) != bridge_.ifindex) return;
    const HostStatus status = (header->ndm_state & NUD_PERMANENT) != 0 ? HostStatus::Self
                              : (header->ndm_state & NUD_NOARP) != 0   ? HostStatus::Configured
                                                                       : HostStatus::Learned;
    hosts_.push_back({*mac, attributes.number<uint16_t>(NDA_VLAN).value_or(0), *port, status});
}

Bridge BridgeParser::finish() {
    const uint32_t ports = bridge_.ports.empty() ? 0 : bridge_.ports.rbegin()->first;
    for (auto& [id, vlan] : bridge_.vlans) {
        vlan.egress.resize((ports + 7) / 8);
        vlan.untagged.resize((ports + 7) / 8);
    }
    const auto macOf = [](const BridgeHost& host) { return std::tie(host.mac, host.vlan); };
    const auto vlanOf = [](const BridgeHost& host) { return std::tie(host.vlan, host.mac); };
    std::ranges::sort(hosts_, {}, macOf);
    for (const BridgeHost& host : hosts_) {
        if (bridge_.byMac.empty() || bridge_.byMac.back().mac != host.mac) bridge_.byMac.push_back(host);
        if (!bridge_.isVlanAware || host.vlan == 0) continue;
        bridge_.byVlan.push_back(host);
        const auto vlan = bridge_.vlans.find(host.vlan);
        if (vlan != bridge_.vlans.end() && host.status == HostStatus::Learned) ++vlan->second.learned;
    }
    std::ranges::sort(bridge_.byVlan, {}, vlanOf);
    return std::move(bridge_);
}

std::optional<Bridge> readFirstBridge() {
    NetlinkSocket socket;
    if (!socket.open(NETLINK_ROUTE, 0)) return {};
    BridgeParser parser;
    const auto dump = [&](NetlinkRequests& requests, void (BridgeParser::*add)(const nlmsghdr&)) {
        requests.finish();
        return socket.send(requests) && socket.receiveReply([&](const nlmsghdr& message) { (parser.*add)(message); });
    };
    NetlinkRequests bridges;
    bridges.add<ifinfomsg>(RTM_GETLINK, NLM_F_DUMP);
    nlattr* info = mnl_attr_nest_start(bridges.current(), IFLA_LINKINFO);
    mnl_attr_put_strz(bridges.current(), IFLA_INFO_KIND, "bridge");
    mnl_attr_nest_end(bridges.current(), info);
    if (!dump(bridges, &BridgeParser::addBridge)) return {};
    const uint32_t index = parser.bridge().ifindex;
    if (index == 0) return parser.finish();

    NetlinkRequests ports;
    ports.add<ifinfomsg>(RTM_GETLINK, NLM_F_DUMP);
    mnl_attr_put_u32(ports.current(), IFLA_MASTER, index);
    if (!dump(ports, &BridgeParser::addPort)) return {};
    if (parser.bridge().isVlanAware) {
        NetlinkRequests vlans;
        vlans.add<ifinfomsg>(RTM_GETLINK, NLM_F_DUMP).ifi_family = AF_BRIDGE;
        mnl_attr_put_u32(vlans.current(), IFLA_EXT_MASK, RTEXT_FILTER_BRVLAN_COMPRESSED);
        if (!dump(vlans, &BridgeParser::addVlans)) return {};
    }
    NetlinkRequests hosts;
    hosts.add<ifinfomsg>(RTM_GETNEIGH, NLM_F_DUMP).ifi_family = AF_BRIDGE;
    mnl_attr_put_u32(hosts.current(), IFLA_MASTER, index);
    if (!dump(hosts, &BridgeParser::addHost)) return {};
    return parser.finish();
}

}  // namespace hostd
