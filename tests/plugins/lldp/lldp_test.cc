#include "contracts/lldp_systems.h"
#include "hostd/links/lldp_tables.h"
#include "hostd/table/stable_ids.h"
#include "tests/hostd/source/scripted_source.h"
#include "tests/plugins/plugin_test.h"

namespace snmp {
namespace {

using hostd::LldpReading;

/// The real owners, with readings of the test.
class LldpTest : public PluginTest {
  protected:
    LldpTest() : PluginTest("lldp") {
        agent->addHandler(contracts::lldp_systems::kLocalPath, &local);
        agent->addHandler(contracts::lldp_ports::kPath, &ports);
        agent->addHandler(contracts::lldp_addresses::kLocalPath, &addresses);
        agent->addHandler(contracts::lldp_systems::kRemotePath, &remotes);
        agent->addHandler(contracts::lldp_addresses::kRemotePath, &remoteAddresses);
        load();
    }
    static LldpReading reading() {
        const std::vector<uint8_t> ipv4 = {10, 0, 0, 1}, ipv6(16, 0xfe);
        LldpReading all;
        all.local = {4, 0x14, 0x10, {2, 0, 0, 0, 0, 1}, "us", "Linux"};
        all.ports = {{2, {3, {2, 0, 0, 0, 0, 9}, "eth0"}}, {11, {5, {'e', '1'}, ""}}};
        all.addresses = {{0, 0, 2, ipv6, 2}, {0, 0, 1, ipv4, 3}};
        for (const uint32_t port : {11U, 2U, 2U})
            all.add({port, 0, {7, 0x81, 0, {'s', 'w'}, "switch", "OS"}, {7, {'p'}, "port 1"}},
                    {{0, 0, 1, ipv4, 7}, {0, 0, 2, ipv6, 8}});
        all.sort();
        return all;
    }
    hostd::ScriptedSource<std::optional<LldpReading>> lldpd{reading()};
    std::shared_ptr<hostd::LldpSource> source = std::make_shared<hostd::LldpSource>(lldpd.reader());
    hostd::LldpLocal local{source};
    hostd::LldpPorts ports{source};
    hostd::LldpLocalAddresses addresses{source};
    hostd::LldpRemotes remotes{source};
    hostd::LldpRemoteAddresses remoteAddresses{source};
    const std::string mib = "1.0.8802.1.1.2.1.";
};

TEST_F(LldpTest, ThisSystemAndItsNeighboursAreServed) {
    EXPECT_EQ(lldpd.readings(), 0) << "read before the first request";
    const auto scalar = [&](int i) { return shown(walk(mib + "3." + std::to_string(i))); };
    EXPECT_EQ(scalar(1) + " " + scalar(2) + " " + scalar(3), "4 02 00 00 00 00 01 us");
    EXPECT_EQ(value(mib + "3.6.0"), "08") << "a router";
    EXPECT_EQ(row(mib + "3.7.1.", {2, 3, 4}, "11"), "5 e1 ''");
    EXPECT_EQ(row(mib + "3.8.1.", {3, 4, 5, 6}, "1.4.10.0.0.1"), "5 2 3 0.0");
    EXPECT_EQ(shown(walk(mib + "3.8.1.5")), "3 2") << "IPv4 first";

    const std::string index = std::to_string(hostd::preferredIdOf(std::string("sw\0p", 4)));
    const std::string other = std::to_string(hostd::preferredIdOf(std::string("sw\0p", 4)) + 1);
    const auto rows = walk(mib + "4.1.1.9", 2);
    ASSERT_THAT(rows, SizeIs(3));
    EXPECT_EQ(rows[0].name, mib + "4.1.1.9.0.2." + index);
    EXPECT_EQ(rows[1].name, mib + "4.1.1.9.0.2." + other) << "the same ids on the same port";
    EXPECT_EQ(row(mib + "4.1.1.", {4, 5, 6, 7, 8, 9, 10}, "0.11." + index), "7 sw 7 p port 1 switch OS");
    EXPECT_EQ(value(mib + "4.1.1.11.0.11." + index), "81");
    EXPECT_EQ(shown(walk(mib + "4.2.1.4", 2)), "7 8 7 8 7 8");
    EXPECT_EQ(value(mib + "4.2.1.4.0.2." + other + ".1.4.10.0.0.1"), "7");
    EXPECT_EQ(next({mib + "4.2.1.4.0.2." + other + ".1.4.10.0.0.1"}).bindings[0].name.substr(0, mib.size() + 15),
              (mib + "4.2.1.4.0.2." + other + ".2.16").substr(0, mib.size() + 15));
}

TEST_F(LldpTest, WithoutLldpdThereIsNothing) {
    LldpReading none;
    none.problem = "lldpd doesn't answer";
    lldpd.gives(none);
    EXPECT_THAT(walk("1.0.8802"), IsEmpty());
}

}  // namespace
}  // namespace snmp
