#include <net/if.h>  // before <linux/if.h>, which then leaves out what it defines

#include <linux/if_bridge.h>
#include <linux/neighbour.h>

#include "hostd/links/bridge_tables.h"
#include "tests/hostd/links/link_messages.h"
#include "tests/hostd/source/scripted_source.h"
#include "tests/plugins/plugin_test.h"

namespace snmp {
namespace {

using hostd::LinkMessage;
using hostd::NetlinkMessage;
using Octets = std::vector<uint8_t>;

const Octets kRoot = {0x10, 0, 2, 0, 0, 0, 0, 0xaa}, kOwn = {0x80, 0, 2, 0, 0, 0, 0, 1};

/// The real owners, with a bridge made of messages such as the kernel sends: br0 is interface 4, its ports 1 and 9 are
/// interfaces 20 and 21.
class BridgeTest : public PluginTest {
  protected:
    BridgeTest() : PluginTest("bridge") {
        agent->addHandler(contracts::first_bridge::kPath, &state);
        agent->addHandler(contracts::bridge_ports::kPath, &ports);
        agent->addHandler(contracts::bridge_vlans::kPath, &vlans);
        agent->addHandler(contracts::bridge_hosts::kByMacPath, &byMac);
        agent->addHandler(contracts::bridge_hosts::kByVlanPath, &byVlan);
        load();
    }
    static LinkMessage bridge(int index, bool isVlanAware) {
        LinkMessage message(index, "br", hostd::kUp);
        message.nest(IFLA_LINKINFO, [&](auto& info) {
            info.text(IFLA_INFO_KIND, "bridge").nest(IFLA_INFO_DATA, [&](auto& data) {
                data.octets(IFLA_BR_ROOT_ID, kRoot).octets(IFLA_BR_BRIDGE_ID, kOwn);
                data.value(IFLA_BR_ROOT_PORT, uint16_t{9}).value(IFLA_BR_ROOT_PATH_COST, uint32_t{4});
                data.value(IFLA_BR_MAX_AGE, uint32_t{2000}).value(IFLA_BR_HELLO_TIME, uint32_t{200});
                data.value(IFLA_BR_FORWARD_DELAY, uint32_t{1500}).value(IFLA_BR_AGEING_TIME, uint32_t{30000});
                data.value(IFLA_BR_VLAN_FILTERING, uint8_t{isVlanAware});
            });
        });
        return message;
    }
    static LinkMessage port(int index, uint16_t number, uint8_t stpState, uint32_t master = 4) {
        LinkMessage message(index, "port", hostd::kUp);
        message.value(IFLA_MASTER, master).value(IFLA_MTU, uint32_t{1500});
        message.nest(IFLA_LINKINFO, [&](auto& info) {
            info.text(IFLA_INFO_SLAVE_KIND, "bridge").nest(IFLA_INFO_SLAVE_DATA, [&](auto& data) {
                data.value(IFLA_BRPORT_NO, number).value(IFLA_BRPORT_ID, uint16_t(0x8000 | number));
                data.value(IFLA_BRPORT_STATE, stpState).value(IFLA_BRPORT_COST, uint32_t{100'000});
                data.octets(IFLA_BRPORT_ROOT_ID, kRoot).octets(IFLA_BRPORT_BRIDGE_ID, kOwn);
                data.value(IFLA_BRPORT_DESIGNATED_PORT, uint16_t{0x8002});
                data.value(IFLA_BRPORT_DESIGNATED_COST, uint16_t{4});
            });
        });
        rtnl_link_stats64 counters{};
        counters.rx_packets = (1ULL << 32) + 7;
        counters.tx_packets = 8;
        counters.rx_dropped = 9;
        return message.counters(counters);
    }
    static LinkMessage members(int index, std::initializer_list<bridge_vlan_info> all) {
        LinkMessage message(index, "port", 0, ARPHRD_ETHER, RTM_NEWLINK, AF_BRIDGE);
        message.nest(IFLA_AF_SPEC, [&](auto& list) {
            for (const bridge_vlan_info& one : all) list.value(IFLA_BRIDGE_VLAN_INFO, one);
        });
        return message;
    }
    static auto host(int ifindex, uint8_t last, uint16_t vlan, uint16_t nud, uint32_t master = 4) {
        NetlinkMessage<ndmsg> message(RTM_NEWNEIGH, {AF_BRIDGE, 0, 0, ifindex, nud, 0, 0});
        message.octets(NDA_LLADDR, {2, 0, 0, 0, 0, last}).value(NDA_MASTER, master);
        if (vlan != 0) message.value(NDA_VLAN, vlan);
        return message;
    }
    static hostd::Bridge parsed(bool isVlanAware) {
        hostd::BridgeParser parser;
        for (const int index : {7, 4, 9}) parser.addBridge(bridge(index, isVlanAware).message());
        parser.addPort(port(20, 1, BR_STATE_BLOCKING).message());
        parser.addPort(port(21, 9, BR_STATE_FORWARDING).message());
        parser.addPort(port(22, 2, BR_STATE_FORWARDING, 7).message());
        parser.addPort(port(23, 1024, BR_STATE_FORWARDING).message());
        const uint16_t native = BRIDGE_VLAN_INFO_UNTAGGED | BRIDGE_VLAN_INFO_PVID;
        parser.addVlans(members(4, {{0, 30}}).message());
        parser.addVlans(
            members(20, {{native, 1}, {BRIDGE_VLAN_INFO_RANGE_BEGIN, 10}, {BRIDGE_VLAN_INFO_RANGE_END, 11}}).message());
        parser.addVlans(
            members(21, {{0, 11}, {BRIDGE_VLAN_INFO_RANGE_BEGIN, 4094}, {BRIDGE_VLAN_INFO_RANGE_END, 0xffff}})
                .message());
        parser.addVlans(members(22, {{0, 99}}).message());
        parser.addHost(host(20, 5, 11, NUD_REACHABLE).message());
        parser.addHost(host(21, 5, 10, NUD_NOARP).message());
        parser.addHost(host(4, 1, 0, NUD_PERMANENT).message());
        parser.addHost(host(4, 1, 10, NUD_PERMANENT).message());
        parser.addHost(host(22, 6, 10, NUD_REACHABLE, 7).message());
        return parser.finish();
    }
    std::string column(const std::string& name) { return shown(walk("1.3.6.1.2.1.17." + name)); }
    hostd::ScriptedSource<std::optional<hostd::Bridge>> kernel{parsed(true)};
    std::shared_ptr<hostd::FirstBridge> source = hostd::watchFirstBridge(kernel.reader());
    hostd::BridgeState state{source};
    hostd::BridgePorts ports{source};
    hostd::BridgeVlans vlans{source};
    hostd::BridgeHosts byMac{source, hostd::BridgeHosts::Order::ByMac};
    hostd::BridgeHosts byVlan{source, hostd::BridgeHosts::Order::ByVlan};
    const std::string dot1d = "1.3.6.1.2.1.17.";
};

TEST_F(BridgeTest, PortsHaveTheBridgesNumbers) {
    EXPECT_EQ(column("1"), "2 2 1 9 20 21 0.0 0.0 0 0");
    EXPECT_EQ(column("2.5") + " " + column("2.6"), "10 00 02 00 00 00 00 AA 4");
    EXPECT_EQ(column("2.7") + " " + column("2.8") + " " + column("2.9") + " " + column("2.11"), "9 2000 200 1500");
    EXPECT_EQ(column("2.12"), "") << "not the root: its own times aren't known";
    EXPECT_EQ(row(dot1d + "2.15.1.", {1, 2, 3, 4, 5, 6, 7, 8, 9, 11}, "9"),
              "9 128 5 1 65535 10 00 02 00 00 00 00 AA 4 80 00 02 00 00 00 00 01 80 02 100000");
    EXPECT_EQ(value(dot1d + "2.15.1.3.1"), "2") << "blocking";
    EXPECT_EQ(row(dot1d + "4.4.1.", {1, 2, 3, 4, 5}, "1"), "1 1500 7 8 9");
    EXPECT_EQ(column("4.2") + " " + column("4.3.1.2") + " " + column("4.3.1.3"), "300 0 9 4 5");
}

TEST_F(BridgeTest, VlansHaveTheirPortsAndHosts) {
    EXPECT_EQ(column("7.1.1"), "1 4094 4094 5 2");
    EXPECT_EQ(column("7.1.4.2.1.3"), "1 10 11 30 4094");
    EXPECT_EQ(next({dot1d + "7.1.4.2.1.4.0.10"}).bindings[0].name, dot1d + "7.1.4.2.1.4.0.11");
    EXPECT_EQ(column("7.1.4.3.1.2"), "80 00 80 00 80 80 00 00 00 80");
    EXPECT_EQ(column("7.1.4.3.1.4"), "80 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(column("7.1.4.5.1"), "1 0 1 2 1 1 2 2");
    EXPECT_EQ(column("7.1.2.1.1.2"), "0 0 1 0 0") << "learnt entries";
    const auto hosts = walk(dot1d + "7.1.2.2.1.2", 2);
    EXPECT_EQ(shown(hosts), "0 9 1");
    EXPECT_EQ(hosts[2].name, dot1d + "7.1.2.2.1.2.11.2.0.0.0.0.5");
    EXPECT_EQ(value(dot1d + "7.1.2.2.1.3.10.2.0.0.0.0.5"), "5");
}

TEST_F(BridgeTest, WithoutVlansOrWithoutABridgeThereIsNothing) {
    kernel.gives(parsed(false));
    EXPECT_THAT(walk(dot1d + "7"), IsEmpty());
    EXPECT_EQ(column("4.3.1.2"), "0 9");
    kernel.gives(hostd::Bridge());
    sources.uptime += 10;
    EXPECT_THAT(walk(dot1d), IsEmpty());
}

}  // namespace
}  // namespace snmp
