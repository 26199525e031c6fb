// The owner of the routes, from messages such as the kernel sends.

#include "hostd/inet/routes.h"

#include <gmock/gmock.h>

#include "contracts/routes.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/inet/route_messages.h"

namespace hostd {

namespace routes = contracts::routes;

namespace {

using ::testing::ElementsAre;
using NextHop = NextHop4;

/// "destination/mask gateway" of the item at this key, and of the one that follows.
std::vector<std::string> walk(Routes& table, const char* destination, const char* mask, const char* gateway) {
    tn::message key;
    key.insert_be32(routes::Destination, address(destination));
    key.insert_be32(routes::Mask, address(mask));
    key.insert_be32(routes::Gateway, address(gateway));
    tn::message request;
    request.insert_u32(tn::field::MaxObjects, 2);
    request.insert_message(tn::field::Key, key);
    std::vector<std::string> all;
    const tn::message reply = ask(table, tn::cmd::GetAll, request);
    for (const tn::message& item : reply.get_message_array(tn::field::Objects))
        all.push_back(dotted(item.get_be32(routes::Destination)) + "/" + dotted(item.get_be32(routes::Mask)) + " " +
                      (item.get_bool(tn::field::Gone) ? "gone" : dotted(item.get_be32(routes::Gateway))));
    return all;
}

}  // namespace

TEST(Routes, KindTellsWhereARouteLeadsAndWhoMadeIt) {
    const NextHop gateway = via("10.0.0.1", 3);
    const NextHop otherFamily{.link = 3, .hasGateway = true};
    const struct {
        uint8_t type, protocol;
        NextHop hop;
        uint32_t kind;
    } cases[] = {
        {RTN_UNICAST, RTPROT_KERNEL, through(3), 2}, {RTN_UNICAST, RTPROT_STATIC, through(3), 2},
        {RTN_UNICAST, RTPROT_BOOT, gateway, 3},      {RTN_UNICAST, RTPROT_STATIC, gateway, 3},
        {RTN_UNICAST, RTPROT_RIP, gateway, 4},       {RTN_UNICAST, RTPROT_OSPF, gateway, 6},
        {RTN_UNICAST, RTPROT_BGP, otherFamily, 8},   {RTN_UNICAST, RTPROT_DHCP, gateway, 30},
        {RTN_BLACKHOLE, RTPROT_STATIC, {}, 1},       {RTN_UNREACHABLE, RTPROT_BGP, {}, 1},
        {RTN_PROHIBIT, RTPROT_BOOT, {}, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << int{c.type} << " " << int{c.protocol});
        Route4 route = with(routeTo("10.1.0.0/16", {c.hop}), 20);
        route.type = c.type;
        route.protocol = c.protocol;
        Routes table;
        table.apply(messageOf(route).message());
        const auto items = rowsOf(table);
        ASSERT_EQ(items.size(), 1U);
        EXPECT_EQ(items[0].get_u32(routes::Kind), c.kind);
        EXPECT_EQ(items[0].get_u32(routes::Distance), 20U);
        EXPECT_EQ(items[0].get_be32(routes::Gateway), c.hop.gateway);
        EXPECT_EQ(items[0].get_be32_array(routes::Gateways), std::vector<uint32_t>(c.kind == 2 ? 0 : 1, c.hop.gateway));
        EXPECT_THAT(items[0].get_u32_array(routes::Interfaces), ElementsAre(c.hop.link));
        const tn::message reply =
            ask(table, tn::cmd::GetAll, with({}, tn::field::Fields, {routes::Kind.full(), routes::Interfaces.full()}));
        const tn::message item = reply.get_message_array(tn::field::Objects).at(0);
        EXPECT_TRUE(item.get_bool(routes::Single));
        EXPECT_EQ(item.get_u32(routes::Kind), c.kind);
        EXPECT_EQ(item.get_u32_array(routes::Interfaces), items[0].get_u32_array(routes::Interfaces));
        EXPECT_FALSE(item.has(routes::Distance) || item.has(routes::Gateways));
    }
}

TEST(Routes, AWalkContinuesFromAnyKeyEvenOneWhoseMaskHasHoles) {
    Routes table;
    for (const Route4& route : {routeTo("10.0.0.0/8", {via("10.0.0.1", 3), via("200.0.0.1", 3)}),
                                routeTo("10.0.0.0/9", {via("10.0.0.1", 3)}), routeTo("200.0.0.0/8", {through(3)})})
        table.apply(messageOf(route).message());
    EXPECT_EQ(table.getObjectCount(), 4U);
    EXPECT_THAT(walk(table, "10.0.0.0", "255.0.0.0", "200.0.0.1"),
                ElementsAre("10.0.0.0/255.0.0.0 200.0.0.1", "10.0.0.0/255.128.0.0 10.0.0.1"));
    EXPECT_THAT(walk(table, "10.0.0.0", "255.0.0.0", "10.0.0.2"),
                ElementsAre("10.0.0.0/255.0.0.0 gone", "10.0.0.0/255.0.0.0 200.0.0.1"));
    EXPECT_THAT(walk(table, "10.0.0.0", "255.0.255.0", "255.255.255.255"),
                ElementsAre("10.0.0.0/255.0.255.0 gone", "10.0.0.0/255.128.0.0 10.0.0.1"));
    EXPECT_THAT(walk(table, "10.0.0.0", "127.255.255.255", "255.255.255.255"),
                ElementsAre("10.0.0.0/127.255.255.255 gone", "10.0.0.0/255.0.0.0 10.0.0.1"));
    EXPECT_THAT(walk(table, "200.0.0.0", "255.0.0.1", "0.0.0.0"), ElementsAre("200.0.0.0/255.0.0.1 gone"));
}

}  // namespace hostd
