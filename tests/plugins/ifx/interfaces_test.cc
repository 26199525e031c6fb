#include <linux/ethtool_netlink.h>

#include "agent/modules/interface_module.h"
#include "agent/traps/interface_traps.h"
#include "contracts/interfaces.h"
#include "hostd/links/interfaces.h"
#include "tests/hostd/links/link_messages.h"
#include "tests/hostd/source/scripted_source.h"
#include "tests/plugins/plugin_test.h"
#include "tests/tn/eventually.h"

namespace snmp {
namespace {

/// The real owner without the kernel.
class ScriptedInterfaces : public hostd::Interfaces {
  public:
    using Interfaces::Interfaces;
    void loadPermData() override {}
};

/// Links from messages such as the kernel sends, with modes and drivers from the test.
class IfTableTest : public PluginTest {
  protected:
    IfTableTest() : PluginTest("ifx") { agent->addHandler(contracts::interfaces::kPath, &owner); }
    void link(const hostd::LinkMessage& message) { owner.apply(message.message()); }
    void count(rtnl_link_stats64 counters) { link(hostd::LinkMessage(1, "eth0", hostd::kUp).counters(counters)); }
    static hostd::DriverReadings drivers(std::span<const uint32_t> indexes) {
        hostd::DriverReadings readings;
        for (const uint32_t index : indexes) {
            readings[index].areCounted = true;
            const std::pair<uint32_t, uint64_t> counters[] = {{ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST, 5},
                                                              {ETHTOOL_A_STATS_ETH_MAC_19_TX_BCAST, 3},
                                                              {ETHTOOL_A_STATS_ETH_MAC_18_TX_MCAST, 4}};
            for (const auto& [number, value] : counters)
                readings[index].counters.add(hostd::DriverGroup::Mac, number, value);
        }
        return readings;
    }
    hostd::ScriptedSource<hostd::LinkModes> modes{{{2, {2500, 3}}, {3, {25'000, 3}}, {4, {10, 2}}}};
    std::vector<std::string> switched;
    ScriptedInterfaces owner{"/nowhere",
                             [this](uint32_t index, bool isUp) {
                                 switched.push_back(std::to_string(index) + (isUp ? " up" : " down"));
                                 return std::string();
                             },
                             drivers, modes.reader()};
    const std::string ifEntry = "1.3.6.1.2.1.2.2.1.", ifXEntry = "1.3.6.1.2.1.31.1.1.1.";
};

TEST_F(IfTableTest, EachKindOfLinkHasItsTypeAndSpeed) {
    struct Case {
        const char *made, *shown;  ///< ifType ifSpeed ifOperStatus, ifHighSpeed ifPromiscuousMode ifConnectorPresent
        unsigned flags = hostd::kUp;
        unsigned short hardware = ARPHRD_ETHER;
        uint32_t promiscuity = 0;
    } const cases[] = {
        {nullptr, "24 4294967295 1 10000 2 2", hostd::kUp, ARPHRD_LOOPBACK},
        {nullptr, "6 2500000000 1 2500 2 1"},
        {nullptr, "6 4294967295 1 25000 1 1", hostd::kUp, ARPHRD_ETHER, 2},
        {"veth", "6 10000000 2 10 2 2", 0},  // a speed that the kernel knows while the link is down
        {"tun", "6 0 2 0 2 2", IFF_UP},
        {"bond", "161 4294967295 1 10000 2 2"},
        {"vlan", "135 4294967295 1 10000 2 2"},
        {"bridge", "209 4294967295 1 10000 2 2"},
        {"wireguard", "131 4294967295 1 10000 2 2", hostd::kUp, ARPHRD_NONE},
        {nullptr, "199 4294967295 1 10000 2 2", hostd::kUp, ARPHRD_INFINIBAND},
    };
    int index = 0;
    for (const Case& one : cases) {
        hostd::LinkMessage message(++index, "x", one.flags, one.hardware);
        message.value(IFLA_PROMISCUITY, one.promiscuity);
        link(message.kind(one.made));
    }
    start_interface_module();
    for (const uint32_t repetitions : {0U, 5U})
        for (const char* entry : {"1.3.6.1.2.1.2.2.1", "1.3.6.1.2.1.31.1.1.1"})
            EXPECT_GT(walk(entry, repetitions).size(), 100U);
    EXPECT_EQ(modes.readings(), 0) << "without the plug-in, modes are never read";
    load();
    ASSERT_TRUE(tn::eventually([&] { return value(ifXEntry + "15.2") == "2500"; }));
    index = 0;
    for (const Case& one : cases) {
        const std::string at = std::to_string(++index);
        EXPECT_EQ(row(ifEntry, {3, 5, 8}, at) + " " + row(ifXEntry, {15, 16, 17}, at), one.shown) << at;
    }
}

TEST_F(IfTableTest, UnicastIsWhatRemainsAndNeverFallsUnlessAllCountersDo) {
    load();
    rtnl_link_stats64 counters{};
    counters.rx_packets = 0x1'0000'0064;
    counters.tx_packets = 50;
    counters.multicast = 10;
    counters.rx_nohandler = 7;
    count(counters);
    ASSERT_TRUE(tn::eventually([&] { return value(ifXEntry + "9.1") == "5"; }));  // the driver has been read
    EXPECT_EQ(row(ifEntry, {11, 12, 15, 17, 18}, "1"), "85 15 7 43 7");
    EXPECT_EQ(row(ifXEntry, {2, 3, 4, 5, 7, 8, 11, 12, 13, 19}, "1"), "10 5 4 3 4294967381 10 43 4 3 0");
    counters.multicast = 30;  // read later than the packets
    count(counters);
    EXPECT_EQ(row(ifXEntry, {7, 8, 19}, "1"), "4294967381 30 0");
    sources.uptime = 2000;
    counters.rx_packets = 100;
    count(counters);
    EXPECT_EQ(row(ifXEntry, {7, 19}, "1"), "65 200000");
}

TEST_F(IfTableTest, OnlyASetOfTheAdminStatusSwitchesALink) {
    load();
    link(hostd::LinkMessage(1, "eth0", hostd::kUp));
    for (const auto& binding : {number(ifEntry + "7.1", 2), number(ifEntry + "7.1", 3), text(ifXEntry + "18.1", "x"),
                                number(ifXEntry + "14.1", 2)})
        EXPECT_EQ(set({binding}).errorStatus, 0U);
    EXPECT_THAT(switched, ElementsAre("1 down"));
}

TEST_F(IfTableTest, TrapsAreEnabledWhereTheAgentSendsThem) {
    load();
    for (const int index : {1, 2}) link(hostd::LinkMessage(index, "x", hostd::kUp));
    const auto enabled = [&] { return value(ifXEntry + "14.1") + value(ifXEntry + "14.2"); };
    EXPECT_EQ(enabled(), "22");
    interfaceSubscribe();
    EXPECT_EQ(enabled(), "11");
    interfaceFilter = {2};
    EXPECT_EQ(enabled(), "21");
    interfaceFilter.clear();
    interfaceUnSubscribe();
}

}  // namespace
}  // namespace snmp
