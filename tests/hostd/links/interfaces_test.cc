// The interfaces, from messages such as the kernel sends.

#include "hostd/links/interfaces.h"

#include <linux/ethtool.h>
#include <linux/ethtool_netlink.h>
#include <linux/genetlink.h>

#include "contracts/interface_counters.h"
#include "contracts/interfaces.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/links/link_messages.h"
#include "tests/hostd/manual_clock.h"
#include "tests/hostd/source/scripted_source.h"

namespace hostd {

namespace counters = contracts::interface_counters;
namespace interfaces = contracts::interfaces;

namespace {

namespace field = tn::field;

/// A table of links, and the status changes that it reported: "name=status".
class LinkTableTest : public ::testing::Test {
  protected:
    void takes(const NetlinkMessage<ifinfomsg>& message) { links.apply(message.message(), 1000ms); }
    const Link& link(uint32_t index) { return *links.find(index); }
    std::vector<uint32_t> indexes() const {
        std::vector<uint32_t> all;
        for (const Link* link = links.firstFrom(0); link != nullptr; link = links.firstFrom(link->index + 1))
            all.push_back(link->index);
        return all;
    }
    std::vector<std::string> told;
    LinkTable links{[](const std::string& name) { return name == "wlan0"; },
                    [this](const Link& link, uint32_t before, uint32_t status) {
                        EXPECT_NE(before, status);
                        told.push_back(link.name + "=" + std::to_string(status));
                    }};
};

}  // namespace

TEST_F(LinkTableTest, KindsFollowFromHowALinkWasMadeOrWhatItCarries) {
    namespace kind = interfaces::kind;
    const std::tuple<const char*, const char*, unsigned short, uint32_t> cases[] = {
        {"eth0", nullptr, ARPHRD_ETHER, kind::Ethernet},  {"tap0", "tun", ARPHRD_ETHER, kind::Ethernet},
        {"wlan0", nullptr, ARPHRD_ETHER, kind::Wireless}, {"ppp0", "ppp", ARPHRD_PPP, kind::Ppp},
        {"br0", "bridge", ARPHRD_ETHER, kind::Bridge},    {"tun0", "tun", ARPHRD_NONE, kind::Tunnel},
        {"vxlan0", "vxlan", ARPHRD_ETHER, kind::Tunnel},  {"gre0", "gre", ARPHRD_IPGRE, kind::Tunnel},
        {"wg0", "wireguard", ARPHRD_NONE, kind::Tunnel},  {"vlan5", "vlan", ARPHRD_ETHER, kind::Vlan},
        {"lo", nullptr, ARPHRD_LOOPBACK, kind::Other},    {"can0", nullptr, ARPHRD_CAN, kind::Other},
    };
    for (int times = 0; times < 2; ++times) {  // a second message changes nothing
        int index = 0;
        for (const auto& [name, made, hardware, expected] : cases) {
            takes(LinkMessage(++index, name, 0, hardware).kind(made));
            EXPECT_EQ(link(static_cast<uint32_t>(index)).kind, expected) << name;
        }
    }
    EXPECT_TRUE(link(1).hasDriver);
    EXPECT_FALSE(link(2).hasDriver);
}

TEST_F(LinkTableTest, TheDriverIsThatOfTheLowestLink) {
    struct Case {
        const char* made;
        uint32_t lower, driven;  ///< 0 for none
    } const cases[] = {
        {nullptr, 0, 1}, {"vlan", 1, 1},  {"vlan", 2, 1}, {"macvlan", 3, 1}, {"ipvlan", 1, 1},   {"veth", 1, 0},
        {"vlan", 6, 0},  {"vlan", 99, 0}, {"dsa", 1, 9},  {"vlan", 9, 9},    {"macvlan", 12, 0}, {"macvtap", 11, 0},
    };
    int index = 0;
    for (const auto& [made, lower, driven] : cases) takes(LinkMessage(++index, "x").kind(made).value(IFLA_LINK, lower));
    for (uint32_t i = 1; i <= std::size(cases); ++i) {
        const Link* driven = links.drivenUnder(link(i));
        EXPECT_EQ(driven == nullptr ? 0 : driven->index, cases[i - 1].driven) << i;
    }
    takes(LinkMessage(2, "x").kind("vlan").value(IFLA_LINK, 1U).value(IFLA_LINK_NETNSID, 0));
    EXPECT_EQ(links.drivenUnder(link(2)), nullptr);  // the link 1 of another namespace
}

TEST_F(LinkTableTest, AppliesWhatAMessageContainsAndKeepsTheRest) {
    takes(LinkMessage(9, "br0.5").kind("vlan").value(IFLA_LINK, 4U).text(IFLA_IFALIAS, "uplink"));
    takes(LinkMessage(5, "veth0").kind("veth").value(IFLA_LINK, 4U));  // its peer, not what it lies on
    EXPECT_EQ(link(9).lower, 4U);
    EXPECT_EQ(link(5).lower, 0U);
    takes(LinkMessage(9, "renamed").kind("vlan").value(IFLA_LINK, 4U));
    EXPECT_EQ(link(9).name, "renamed");
    EXPECT_EQ(link(9).alias, "");
    takes(LinkMessage(1, "lo", 0, ARPHRD_LOOPBACK).octets(IFLA_ADDRESS, {0, 0, 0, 0, 0, 0}));
    EXPECT_THAT(link(1).address, IsEmpty());
    takes(LinkMessage(2, "gre0", 0, ARPHRD_IPGRE).octets(IFLA_ADDRESS, {192, 0, 2, 1}));
    EXPECT_THAT(link(2).address, IsEmpty());
}

TEST_F(LinkTableTest, MessagesNotAboutAWholeLinkChangeNothing) {
    takes(LinkMessage(4, "port", kUp).value(IFLA_MTU, 1500U));
    told.clear();
    takes(LinkMessage(4, "port", 0, ARPHRD_ETHER, RTM_NEWLINK, AF_BRIDGE));  // a bridge's view of its port
    takes(LinkMessage(4, "port", 0, ARPHRD_ETHER, RTM_DELLINK, AF_BRIDGE));  // it has left the bridge
    takes(LinkMessage(4, "port").octets(IFLA_WIRELESS, {1, 2, 3, 4}));
    for (const int index : {4, -4, 0}) takes(LinkMessage(index, index == 4 ? nullptr : "bad index"));
    takes(LinkMessage(77, "gone", 0, ARPHRD_ETHER, RTM_DELLINK));
    LinkMessage cut(5, "cut");
    cut.raw()->nlmsg_len = NLMSG_HDRLEN + 8;
    takes(cut);
    EXPECT_THAT(indexes(), ElementsAre(4));
    EXPECT_EQ(link(4).mtu, 1500U);
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(LinkTableTest, EachChangeOfStatusIsReportedOnce) {
    const std::tuple<int, const char*, unsigned> messages[] = {{4, "a", kUp & ~unsigned{IFF_RUNNING}},
                                                               {4, "a", kUp},
                                                               {4, "a", kUp | IFF_PROMISC},
                                                               {4, "b", kUp},
                                                               {4, "b", IFF_UP},
                                                               {4, "b", 0},
                                                               {5, "born-down", 0},
                                                               {6, "born-up", kUp}};  // the first with carrier, dormant
    for (const auto& [index, name, flags] : messages) takes(LinkMessage(index, name, flags));
    takes(LinkMessage(5, "born-down", 0, ARPHRD_ETHER, RTM_DELLINK));
    takes(LinkMessage(6, "born-up", kUp, ARPHRD_ETHER, RTM_DELLINK));
    EXPECT_THAT(told, ElementsAre("a=256", "a=1280", "b=0", "born-up=1280", "born-up=0"));
}

TEST_F(LinkTableTest, AListingAddsChangesAndRemovesLinks) {
    for (int index : {1, 2, 3, 5}) takes(LinkMessage(index, "x", kUp));
    told.clear();
    links.beginListing();
    takes(LinkMessage(2, "x", kUp));
    takes(LinkMessage(5, "x", 0));
    takes(LinkMessage(4, "new", kUp));
    links.endListing(true);
    EXPECT_THAT(indexes(), ElementsAre(2, 4, 5));
    EXPECT_THAT(told, ElementsAre("x=0", "new=1280", "x=0", "x=0"));
    links.beginListing();
    links.endListing(false);  // interrupted
    EXPECT_THAT(indexes(), ElementsAre(2, 4, 5));
}

TEST_F(LinkTableTest, TimesOfChangesAreThoseSinceTheFirstListing) {
    const auto changeOf1 = [&](std::chrono::milliseconds now, unsigned flags) {
        links.apply(LinkMessage(1, "x", flags).message(), now);
        return link(1).changedAt;
    };
    links.beginListing();
    EXPECT_EQ(changeOf1(10ms, kUp), 0ms);
    links.endListing(true);
    EXPECT_EQ(changeOf1(20ms, kUp | IFF_PROMISC), 0ms);
    EXPECT_EQ(changeOf1(30ms, IFF_UP), 30ms);
    EXPECT_EQ(links.membersChangedAt(), 0ms);
    takes(LinkMessage(2, "new"));
    EXPECT_EQ(link(2).changedAt, 1000ms);
    EXPECT_EQ(link(2).discontinuityAt, 1000ms);
    EXPECT_EQ(links.membersChangedAt(), 1000ms);
}

class InterfacesTest : public ::testing::Test {
  protected:
    void takes(const NetlinkMessage<ifinfomsg>& message) { interfaces.apply(message.message()); }
    tn::message asks(uint32_t command, uint32_t id, uint32_t rights = tn::right::Read) {
        return ask(interfaces, command, of(id), rights);
    }
    ManualClock clock;
    Interfaces interfaces{"/nowhere", {}, readDrivers, [] { return LinkModes(); }};
};

TEST_F(InterfacesTest, ARowHasOnlyFieldsWithKnownValues) {
    rtnl_link_stats64 counted{};
    counted.rx_bytes = 0x1'0000'0002;
    counted.rx_packets = 20;
    counted.rx_errors = 0x1'0000'0007;
    counted.collisions = 3;
    counted.rx_dropped = 5;
    counted.rx_missed_errors = 6;
    takes(LinkMessage(7, "veth0", kUp).kind("veth").counters(counted).octets(IFLA_ADDRESS, {2, 0, 0, 0, 0, 7}));
    takes(LinkMessage(8, "down").text(IFLA_IFALIAS, "spare"));
    const tn::message up = rowsOf(interfaces).at(0), down = rowsOf(interfaces).at(1);
    EXPECT_EQ(up.get_u32(interfaces::InErrors), 7U);  // as 32 bits
    EXPECT_EQ(up.get_u32(interfaces::InDiscards), 11U);
    for (const tn::u64_id id : {interfaces::InOctets, counters::HostRxOctets, counters::RxOctets})
        EXPECT_EQ(up.get_u64(id), counted.rx_bytes) << id.number;
    EXPECT_EQ(up.get_u64(counters::TxCollisions), 3U);
    EXPECT_FALSE(up.has(counters::RxJabbers) || up.has(field::Disabled) || up.has(field::Comment));
    EXPECT_FALSE(down.get_bool(interfaces::Running) || down.has(interfaces::Mac) || down.has(interfaces::InOctets));
    EXPECT_TRUE(up.get_bool(interfaces::Running) && down.get_bool(field::Disabled));
}

TEST_F(InterfacesTest, ReadersMayListAndQuerySpeedsOnly) {
    for (int index = 1; index <= 2000; ++index) takes(LinkMessage(index, "x", kUp).kind("veth"));
    takes(LinkMessage(2001, "down"));
    const auto listed = rowsOf(interfaces, interfaces::kList);
    ASSERT_EQ(listed.size(), 2001U);
    EXPECT_TRUE(listed[2000].get_bool(field::Disabled) && !listed[0].has(field::Disabled));
    EXPECT_EQ(listed[0].get_u32(interfaces::Status), 0x500U);
    EXPECT_FALSE(listed[0].has(interfaces::Name));
    EXPECT_FALSE(tn::isError(asks(interfaces::kGetSpeed, 5)));
    EXPECT_FALSE(asks(interfaces::kGetSpeed, 5).has(interfaces::SpeedSelector));
    EXPECT_TRUE(tn::isError(asks(interfaces::kGetSpeed, 5000)));
    EXPECT_TRUE(tn::isError(asks(tn::cmd::Set, 5)));
    EXPECT_FALSE(tn::isError(asks(tn::cmd::Set, 5, tn::right::Write)));
}

TEST_F(InterfacesTest, SpeedAndCountersComeFromTheDriver) {
    Interfaces driven("/nowhere", {}, [](std::span<const uint32_t> indexes) {
        DriverReadings readings;
        for (const uint32_t index : indexes) readings[index] = {.speed = 1000, .counters = {}, .areCounted = true};
        readings[1].counters.add(DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_14_RX_BYTES, 7);
        return readings;
    });
    rtnl_link_stats64 counters{};
    counters.rx_bytes = 8;
    int index = 0;
    for (const char* made : {static_cast<const char*>(nullptr), "vlan", "veth"})
        driven.apply(LinkMessage(++index, "x", kUp).kind(made).counters(counters).value(IFLA_LINK, 1U).message());
    const auto speed = [&](uint32_t id) {
        return ask(driven, interfaces::kGetSpeed, of(id)).get_u32(interfaces::SpeedSelector);
    };
    ASSERT_EQ(rowsOf(driven).size(), 3U);  // which has the drivers read
    ASSERT_TRUE(eventually([&] { return speed(1) == 3; }));
    EXPECT_EQ(speed(2), 3U);
    EXPECT_EQ(speed(3), 0U);
    const tn::message some = with({}, field::Fields, {interfaces::Name.full(), interfaces::SpeedSelector.full()});
    const tn::message reply = ask(driven, tn::cmd::GetAll, some);
    EXPECT_EQ(PrintToString(reply.get_message_array(field::Objects)),
              "{ {0x44e:u32=3, 0x10006:string=\"x\", 0xfe0001:u32=1, 0xfe0005:u32=2}, "
              "{0x44e:u32=3, 0x10006:string=\"x\", 0xfe0001:u32=2, 0xfe0005:u32=3}, "
              "{0x44e:u32=0, 0x10006:string=\"x\", 0xfe0001:u32=3} }");
    const auto rows = rowsOf(driven);
    EXPECT_EQ(rows[0].get_u64(counters::RxOctets), 7U);
    EXPECT_EQ(rows[1].get_u64(counters::RxOctets), 8U);
}

TEST_F(InterfacesTest, ALinkThatIsNotSwitchedIsReportedWithTheReason) {
    Interfaces failing("/nowhere", [&](uint32_t, bool) { return "Device or resource busy"; });
    failing.apply(LinkMessage(4, "eth0", kUp).message());
    const tn::message up = tn::with(of(4), field::Disabled, false);
    EXPECT_THAT(tn::getError(ask(failing, tn::cmd::Set, up)), HasSubstr("eth0 up: Device or"));
    EXPECT_EQ(errorOf(ask(failing, tn::cmd::Set, of(4))), 0U);  // doesn't say that it is to be switched
}

TEST_F(InterfacesTest, AFilterSelectsChangesOfStatusAndExcludesFlags) {
    const tn::message notification = tn::with({}, interfaces::Flags, 0x80);
    const auto passes = [&](uint32_t flags, uint32_t status) {
        const tn::message filter = tn::with(tn::with({}, interfaces::Flags, flags), interfaces::Status, status);
        return interfaces.shouldNotify(filter, notification);
    };
    EXPECT_TRUE(interfaces.shouldNotify({}, notification));
    EXPECT_TRUE(passes(0x40, 0xff));
    EXPECT_FALSE(passes(0, 0));
    EXPECT_FALSE(passes(0x80, 128));
}

TEST(DriverAnswer, GivesSpeedAndTheCountersThatAreKept) {
    using DriverMessage = NetlinkMessage<genlmsghdr>;
    DriverMessage statistics(0, {.cmd = ETHTOOL_MSG_STATS_GET_REPLY, .version = 1, .reserved = 0});
    const auto group = [&](uint32_t id, const std::vector<std::pair<uint16_t, uint64_t>>& counted,
                           const std::vector<std::array<uint32_t, 3>>& sizes = {}) {
        statistics.nest(ETHTOOL_A_STATS_GRP, [&](DriverMessage& inside) {
            inside.value(ETHTOOL_A_STATS_GRP_ID, id);
            for (const auto& counter : counted)
                inside.nest(ETHTOOL_A_STATS_GRP_STAT,
                            [&](DriverMessage& one) { one.value(counter.first, counter.second); });
            for (const auto& size : sizes)
                inside.nest(ETHTOOL_A_STATS_GRP_HIST_TX, [&](DriverMessage& one) {
                    one.value(ETHTOOL_A_STATS_GRP_HIST_BKT_LOW, size[0])
                        .value(ETHTOOL_A_STATS_GRP_HIST_BKT_HI, size[1]);
                    one.value(ETHTOOL_A_STATS_GRP_HIST_VAL, uint64_t{size[2]});
                });
        });
    };
    group(ETHTOOL_STATS_ETH_MAC,
          {{ETHTOOL_A_STATS_ETH_MAC_14_RX_BYTES, 5}, {ETHTOOL_A_STATS_ETH_MAC_6_FCS_ERR, 0}, {999, 1}});
    group(ETHTOOL_STATS_RMON, {{ETHTOOL_A_STATS_RMON_JABBER, 6}}, {{0, 64, 1}, {1519, 2047, 10}, {2048, 4095, 20}});
    group(77, {{0, 1}});
    DriverReading reading;
    readDriverAnswer(statistics.message(), reading);

    tn::message row;
    insertCounters(row, {}, {}, &reading.counters);
    // Jabbers, octets, and frames of 64 and of 1519 and more; no FCS errors is a count too.
    EXPECT_EQ(PrintToString(row), "{0x44f:u64=0, 0x45b:u64=6, 0x45c:u64=5, 0x461:u64=1, 0x467:u64=30}");

    rtnl_link_stats64 kernel{};
    kernel.rx_bytes = 7;
    kernel.tx_bytes = 8;
    tn::message silent, mixed;
    insertCounters(silent, {}, kernel, nullptr);
    EXPECT_FALSE(silent.has(counters::RxOctets));  // until the driver has told
    insertCounters(mixed, {}, kernel, &reading.counters);
    EXPECT_EQ(mixed.get_u64(counters::RxOctets), 5U);
    EXPECT_EQ(mixed.get_u64(counters::TxOctets), 8U);  // which the driver doesn't keep

    const auto speed = [&](uint32_t megabits) {
        DriverMessage modes(0, {.cmd = ETHTOOL_MSG_LINKMODES_GET_REPLY, .version = 1, .reserved = 0});
        readDriverAnswer(modes.value(ETHTOOL_A_LINKMODES_SPEED, megabits).message(), reading);
        return reading.speed;
    };
    EXPECT_EQ(speed(UINT32_MAX), std::nullopt);
    EXPECT_EQ(speed(1000), 1000);
}

TEST(LinkModes, AreReadUnlessTheyAreUnknown) {
    using ModeMessage = NetlinkMessage<genlmsghdr>;
    LinkModes modes;
    const auto takes = [&](uint16_t type, uint32_t index, uint32_t speed, uint8_t duplex) {
        ModeMessage message(type, {.cmd = ETHTOOL_MSG_LINKMODES_GET_REPLY, .version = 1, .reserved = 0});
        if (index != 0)
            message.nest(ETHTOOL_A_LINKMODES_HEADER,
                         [&](ModeMessage& header) { header.value(ETHTOOL_A_HEADER_DEV_INDEX, index); });
        message.value(ETHTOOL_A_LINKMODES_SPEED, speed).value(ETHTOOL_A_LINKMODES_DUPLEX, duplex);
        readLinkMode(message.message(), modes);
    };
    takes(0x20, 1, 40'000, DUPLEX_FULL);
    takes(0x20, 2, 10, DUPLEX_HALF);
    takes(0x20, 3, UINT32_MAX, DUPLEX_UNKNOWN);
    takes(0x20, 0, 100, DUPLEX_FULL);  // of no link
    takes(NLMSG_ERROR, 4, 100, DUPLEX_FULL);
    std::string all;
    for (const auto& [index, mode] : modes)
        all += std::to_string(index) + ":" + std::to_string(mode.speed) + "/" + std::to_string(mode.duplex) + " ";
    EXPECT_EQ(all, "1:40000/3 2:10/2 3:0/0 ");
}

TEST(DriverNames, MeanTheSameCounterHoweverTheyAreSpelled) {
    const std::pair<std::optional<tn::u64_id>, std::vector<const char*>> cases[] = {
        {counters::RxBroadcast,
         {"rx_broadcast", "rx_bcast_packets", "RxBroadcastPkts", "in_broadcasts", "port.rx_broadcast", "broadcast"}},
        {counters::RxMulticast, {"rx_multicast", "rx_mcast_packets", "rx_multicast_frames", "RxMulti"}},
        {counters::RxFcsErrors, {"rx_crc_errors", "RxFCSErrs", "in_fcs_error"}},
        {counters::Rx64,
         {"rx_64_or_less_octet_packets", "port.rx_size_64", "rx_64_byte_frames", "RxPkts64Octets", "RxPktSz64"}},
        {counters::Rx65To127,
         {"rx_65_to_127_octet_packets", "rx_size_127.nic", "rx_65_127_byte_frames", "RxPktSz65To127", "rx_65_127"}},
        {counters::Rx1024To1518,
         {"rx_1024_to_1522_octet_packets", "rx_size_1522", "RxPkts1024to1522Octets", "rx_1024_1518_byte_frames"}},
        {counters::Rx1519Up, {"rx_1523_to_2047_octet_packets", "rx_size_big", "rx_greater_than_1518_byte_frames"}},
        {counters::RxOctets, {"rx_bytes", "rx_octets", "in_good_octets"}},
        {counters::TxSingleCollision, {"tx_single_coll_ok", "tx_single_collisions", "TxSingleCollision", "single"}},
        {counters::RxControl, {"rx_mac_ctrl_rcvd"}},
        {{},
         {"", "rx", "rx_queue_0_packets", "rx0_bytes", "rx_64", "tx_crc_errors", "rx_deferred", "unicast", "64",
          "rx_99999999999_to_1_octet_packets", "\xff\xfe"}},
    };
    const auto rowOf = [](const std::vector<const char*>& names) {
        std::string octets;
        std::vector<uint64_t> values;
        for (const char* name : names) {
            values.push_back(values.size() + 1);
            (octets += name).resize(values.size() * ETH_GSTRING_LEN);
        }
        DriverCounters counters;
        readNamedCounters(octets, values, counters);
        tn::message row;
        insertCounters(row, {}, {}, &counters);
        return row;
    };
    for (const auto& [field, names] : cases)
        for (const char* name : names) {
            EXPECT_EQ(rowOf({name}).size(), field ? 1U : 0U) << name;
            EXPECT_TRUE(!field || rowOf({name}).get_u64(*field) == 1U) << name;
        }
    const tn::message row =
        rowOf({"rx_octets", "rx_1523_to_2047_octet_packets", "rx_bytes", "rx_2048_to_4095_octet_packets"});
    EXPECT_EQ(row.get_u64(counters::RxOctets), 1U);  // the first one told
    EXPECT_EQ(row.get_u64(counters::Rx1519Up), 6U);  // ranges add up
}

TEST(DriverWatch, CountersStayThroughPausesHangsAndFailedReadings) {
    ManualClock clock;
    DriverReadings told{{3, {}}, {4, {}}};
    told[3].counters.add(DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_14_RX_BYTES, 7);
    told[3].areCounted = true;
    ScriptedSource<DriverReadings> source(told);
    DriverWatch watch([read = source.reader()](std::span<const uint32_t>) { return read(); });
    const auto areKept = [&] {
        watch.refresh();
        return watch.counters(3) != nullptr && watch.counters(3)->count() > 0;
    };
    watch.setInterfaces({3, 4});
    ASSERT_TRUE(eventually(areKept));
    EXPECT_EQ(watch.counters(4), nullptr);  // which has never told
    told[3].counters = {};                  // without a group that the driver had
    told[3].counters.add(DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_5_RX_PKT, 1);
    for (const DriverReadings& next : {told, DriverReadings{{3, {}}, {4, {}}}}) {  // the second as after a timeout
        const int before = source.readings();
        source.gives(next);
        clock.time += 1h;
        EXPECT_TRUE(areKept());
        EXPECT_TRUE(eventually([&] { return areKept() && source.readings() > before; }));
        clock.time += 1h;
        EXPECT_TRUE(eventually([&] { return areKept() && watch.counters(3)->count() == 2; }));
    }
    const auto hanging = source.hangs();
    for (int i = 0; i < 3; ++i, clock.time += 1h) EXPECT_TRUE(areKept());
}

}  // namespace hostd
