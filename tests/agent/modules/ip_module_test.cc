#include "agent/modules/ip_module.h"

#include "contracts/addresses.h"
#include "contracts/queues.h"
#include "contracts/routes.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

namespace addresses = contracts::addresses;
namespace routes = contracts::routes;

const std::string kCidr = "1.3.6.1.2.1.4.24.4.1.";
const std::string kRoute = "1.3.6.1.2.1.4.21.1.";

class IpModuleTest : public AgentTest {
  protected:
    IpModuleTest() {
        opensCommon(true);
        addresses.keyFields = {addresses::Address};
        routes.keyFields = {routes::Destination, routes::Mask, routes::Gateway};
        agent->addHandler(addresses::kPath, &addresses);
        agent->addHandler(routes::kPath, &routes);
        agent->addHandler(contracts::queues::kInterfacesPath, &simple);
        agent->addHandler(contracts::queues::kTreePath, &tree);
        start_ip_module();
    }

    tn::message& address(uint32_t address, uint32_t ifIndex) {
        put(addresses.row(address), {{addresses::Address, Ip4{address}}, {addresses::Mask, Ip4{0xffffff00}}});
        return put(addresses.row(address), {{addresses::Interface, ifIndex}});
    }
    /// A route as its owner lists it: one gateway in each item, none for connected networks.
    tn::message& route(uint32_t dest, uint32_t mask, uint32_t nextHop, uint32_t kind, uint32_t ifIndex = 1) {
        tn::message& m = routes.row(++lastRoute);
        put(m, {{routes::Destination, Ip4{dest}}, {routes::Mask, Ip4{mask}}, {routes::Gateway, Ip4{nextHop}}});
        put(m, {{routes::Interfaces, std::vector{ifIndex}}, {routes::Kind, kind}, {routes::Distance, 20U}});
        if (kind != routes::kind::Connected) m.insert_be32_array(routes::Gateways, std::vector{nextHop});
        return m;
    }
    static std::string key(const std::string& dest, const std::string& mask, const std::string& hop, int tos = 0) {
        return dest + "." + mask + "." + std::to_string(tos) + "." + hop;
    }

    TableOwner addresses, routes, simple, tree;
    uint32_t lastRoute = 0;
};

TEST_F(IpModuleTest, AddressesInForceAreListed) {
    address(0x0a000001, 2);
    address(0xc0000201, 3);
    address(0x0a000002, 2).insert_bool(tn::field::Invalid, true);
    address(0x0a000003, 2).insert_bool(tn::field::Disabled, true);
    EXPECT_EQ(shown(walk("1.3.6.1.2.1.4.20")), "10.0.0.1 192.0.2.1 2 3 255.255.255.0 255.255.255.0 1 1 65535 65535");
    EXPECT_EQ(walk("1.3.6.1.2.1.4.20", 4), walk("1.3.6.1.2.1.4.20"));
    EXPECT_EQ(value("1.3.6.1.2.1.4.20.1.2.10.0.0.2"), "-");
    EXPECT_EQ(values({"1.3.6.1.2.1.4.1.0", "1.3.6.1.2.1.4.2.0"}), "1 255");
}

TEST_F(IpModuleTest, IpRouteTableHasItsOwnNumbersForProtocols) {
    for (const auto& [kind, expected] :
         std::map<uint32_t, const char*>{{2, "3 1"}, {3, "4 2"}, {8, "4 14"}, {31, "4 1"}}) {
        route(0x0a000000 + kind, 0xffffffff, 0xc0000201, kind);
        EXPECT_EQ(row(kRoute, {8, 9}, "10.0.0." + std::to_string(kind)), expected);
    }
}

TEST_F(IpModuleTest, ARowHasTheColumnsOfItsRoute) {
    route(0xc6336400, 0xffffff00, 0xc0000201, 8, 7);
    EXPECT_EQ(shown(walk("1.3.6.1.2.1.4.24.4.1")),
              "198.51.100.0 255.255.255.0 0 192.0.2.1 7 4 14 0 0.0 0 20 -1 -1 -1 -1 1");
    EXPECT_EQ(shown(walk("1.3.6.1.2.1.4.21.1")), "198.51.100.0 7 20 -1 -1 -1 192.0.2.1 4 14 0 255.255.255.0 -1 0.0");
}

TEST_F(IpModuleTest, OneItemCanGiveSeveralRowsOrNone) {
    tn::message& several = route(0x0a000000, 0xff000000, 0xc0000201, 3);
    several.insert_be32_array(routes::Gateways, std::vector{0xc0000201U, 0xc0000202U, 0xc0000203U});
    several.insert_u32_array(routes::Interfaces, {7, 8});
    several.insert_u32_array(routes::Used, {1, 0, 1});
    route(0x0b000000, 0xff000000, 0xc0000201, 3).remove(routes::Interfaces);  // no interface
    route(0x0c000000, 0xff000000, 0xc0000201, 3).remove(routes::Gateways);    // no gateway, not connected
    route(0x0d000000, 0xff000000, 0xc0000201, 8).insert_bool(tn::field::Invalid, true);
    route(0x0e000000, 0xff000000, 0x0e000001, 2).insert_bool(tn::field::Disabled, true);
    route(0x0f000000, 0xff000000, 0x0f000001, 2).remove(routes::Interfaces);  // connected to no interface

    const std::string mask = "255.0.0.0", column = kCidr + "5.";
    EXPECT_THAT(bulk({kCidr + "5"}, 0, 3).bindings, ElementsAre(number(column + key("10.0.0.0", mask, "192.0.2.1"), 7),
                                                                number(column + key("10.0.0.0", mask, "192.0.2.3"), 0),
                                                                number(column + key("15.0.0.0", mask, "15.0.0.1"), 0)));
    for (const std::string dest : {"11.0.0.0", "12.0.0.0", "13.0.0.0"}) {
        routes.requests.clear();
        EXPECT_EQ(value(column + key(dest, mask, "192.0.2.1")), "-") << dest;
        EXPECT_EQ(routes.requests.size(), 1U) << dest << ": what follows can't be the answer";
    }
    EXPECT_EQ(shown(walk(kRoute + "1")), "10.0.0.0 15.0.0.0");
}

TEST_F(IpModuleTest, IncompleteAndImpossibleIndexesStartAtTheNearestRow) {
    for (const uint32_t hop : {1U, 2U, 3U}) route(0x0a000000, 0xff000000, hop, 3, hop);
    route(0x0b000000, 0xff000000, 9, 3, 9);
    const std::string column = kCidr + "5.", mask = "255.0.0.0";
    const std::string row = column + key("10.0.0.0", mask, "0.0.0.2");
    const std::string noRow = column + key("10.0.0.0", mask, "0.0.0.2", 7);  // the only type of service is 0
    EXPECT_EQ(values({row, noRow, column + "10.0.0.0"}), "2 - -");
    EXPECT_EQ(set({number(noRow, 1)}).errorStatus, 2U);
    const std::string first = key("10.0.0.0", mask, "0.0.0.1");
    const std::pair<const char*, std::vector<std::string>> steps[] = {
        {"1", {"0", "10", "10.0.0.0.255", key("10.0.0.0", mask, "0")}},
        {"2", {first, first + ".9"}},
        {"9",
         {"10.0.0.0.256.0.0.0", "10.0.0.0.4294967295", key("10.0.0.300", mask, "0.0.0.1"),
          key("10.0.0.0", mask, "0.0.0.1", 7), key("10.0.0.0", mask, "0.0.0.3"), key("10.0.0.0", mask, "0.0.0.256")}}};
    for (const auto& [next, indexes] : steps)
        for (const std::string& index : indexes)
            EXPECT_EQ(this->next({column + index}).bindings[0].value, next) << "after " << index;
    // The owner is asked in its own terms: it knows nothing of types of service.
    (void)next({column + first});
    EXPECT_EQ(routes.requests.back().get_message(tn::field::Key).size(), 3U);
}

TEST_F(IpModuleTest, RoutesThatShareADestinationDoNotEndAWalk) {
    std::string destinations;
    for (uint32_t i = 0; i < 16; ++i) {
        const uint32_t dest = 0x0a000000 + (i << 16);
        destinations += (i == 0 ? "10." : " 10.") + std::to_string(i) + ".0.0";
        for (uint32_t mask = 0xffff0000; mask != 0; mask = i % 8 == 3 ? mask << 1 : 0)
            for (uint32_t hop = 1; hop <= i % 5 + 1; ++hop) route(dest, mask, hop, 3);
    }
    for (const size_t page : {2U, 1000U}) {
        routes.pageSize = page;
        for (const uint32_t repetitions : {0U, 2U, 7U, 50U}) {
            EXPECT_EQ(shown(walk(kRoute + "1", repetitions)), destinations);
            EXPECT_THAT(walk(kCidr + "1", repetitions), SizeIs(routes.rows.size()));
        }
    }
    EXPECT_EQ(value(kRoute + "1.10.3.0.0"), "10.3.0.0");
    EXPECT_EQ(value("1.3.6.1.2.1.4.24.3.0"), std::to_string(routes.rows.size()));
}

TEST_F(IpModuleTest, QueuesShowTheirNetworksParentsAndOctets) {
    namespace queues = contracts::queues;
    const std::string interfaceQueue = "1.3.6.1.4.1.49999.1.1.2.1.1.", treeQueue = "1.3.6.1.4.1.49999.1.1.2.2.1.";
    put(simple.row(5), {{queues::Destination, Ip4{0xc0000201}}, {queues::DestinationMask, Ip4{0xffffffff}}});
    put(simple.row(5), {{queues::Name, "office"}, {queues::ReceivedOctets, 0x100000001UL}});
    simple.row(5).insert_be32_array(queues::Target, std::vector{0x0a000000U, 0xff000000U});
    EXPECT_EQ(row(interfaceQueue, {2, 3, 4, 5, 6, 8}, "5"),
              "office 10.0.0.0 255.0.0.0 192.0.2.1 255.255.255.255 4294967297");
    simple.row(5).insert_be32_array(queues::Target, std::vector{0x0a000000U});
    EXPECT_EQ(row(interfaceQueue, {3, 4}, "5"), "0.0.0.0 0.0.0.0");

    put(tree.row(0x10010), {{queues::Name, "voice"}, {queues::SentOctets, 0x300000004UL}});
    EXPECT_EQ(row(treeQueue, {2, 3, 5, 7}, "65552"), "voice '' 4 12884901892");
    put(tree.row(0x10010), {{queues::Parent, std::vector<std::string>{"all", "ignored"}}});
    EXPECT_EQ(value(treeQueue + "3.65552"), "all");
}

}  // namespace
}  // namespace snmp
