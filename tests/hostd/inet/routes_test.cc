// The owner of the routes, from messages such as the kernel sends.

#include "hostd/inet/routes.h"

#include <gmock/gmock.h>

#include "contracts/routes.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/inet/route_messages.h"

namespace hostd {

namespace routes = contracts::routes;

namespace {

namespace field = tn::field;
using ::testing::ElementsAre;
using NextHop = Route::NextHop;

class RoutesTest : public ::testing::Test {
  protected:
    void takes(const Route& route) { routes.apply(messageOf(route).message()); }
    tn::message asksAt(const tn::message& key, uint32_t most) {
        tn::message request;
        request.insert_u32(field::MaxObjects, most);
        request.insert_message(field::Key, key);
        return ask(routes, tn::cmd::GetAll, std::move(request));
    }
    static tn::message key(const char* destination, const char* mask = nullptr, const char* gateway = nullptr) {
        tn::message key;
        key.insert_be32(routes::Destination, address(destination));
        if (mask != nullptr) key.insert_be32(routes::Mask, address(mask));
        if (gateway != nullptr) key.insert_be32(routes::Gateway, address(gateway));
        return key;
    }
    /// "destination/mask gateway" of each item.
    static std::vector<std::string> keys(const tn::message& reply) {
        std::vector<std::string> all;
        for (const tn::message& item : reply.get_message_array(field::Objects))
            all.push_back(dotted(item.get_be32(routes::Destination)) + "/" + dotted(item.get_be32(routes::Mask)) + " " +
                          (item.get_bool(field::Gone) ? "gone" : dotted(item.get_be32(routes::Gateway))));
        return all;
    }
    Routes routes;
};

}  // namespace

TEST_F(RoutesTest, KindTellsWhereARouteLeadsAndWhoMadeIt) {
    struct Case {
        uint8_t type, protocol;
        NextHop hop;
        uint32_t kind;
        size_t gateways;
    };
    const NextHop gateway = via("10.0.0.1", 3);
    const NextHop otherFamily{.link = 3, .hasGateway = true};
    const Case cases[] = {
        {RTN_UNICAST, RTPROT_KERNEL, through(3), 2, 0}, {RTN_UNICAST, RTPROT_STATIC, through(3), 2, 0},
        {RTN_UNICAST, RTPROT_BOOT, gateway, 3, 1},      {RTN_UNICAST, RTPROT_STATIC, gateway, 3, 1},
        {RTN_UNICAST, RTPROT_RIP, gateway, 4, 1},       {RTN_UNICAST, RTPROT_OSPF, gateway, 6, 1},
        {RTN_UNICAST, RTPROT_BGP, gateway, 8, 1},       {RTN_UNICAST, RTPROT_BGP, otherFamily, 8, 1},
        {RTN_UNICAST, RTPROT_ZEBRA, gateway, 30, 1},    {RTN_UNICAST, RTPROT_DHCP, gateway, 30, 1},
        {RTN_BLACKHOLE, RTPROT_STATIC, {}, 1, 1},       {RTN_UNREACHABLE, RTPROT_BGP, {}, 1, 1},
        {RTN_PROHIBIT, RTPROT_BOOT, {}, 1, 1},
    };
    for (const Case& c : cases) {
        Route route = with(routeTo("10.1.0.0/16", {c.hop}), 20);
        route.type = c.type;
        route.protocol = c.protocol;
        Routes fresh;
        fresh.apply(messageOf(route).message());
        const auto items = rowsOf(fresh);
        ASSERT_EQ(items.size(), 1U);
        EXPECT_EQ(items[0].get_u32(routes::Kind), c.kind) << int{c.type} << " " << int{c.protocol};
        EXPECT_EQ(items[0].get_u32(routes::Distance), 20U);
        EXPECT_EQ(items[0].get_be32(routes::Gateway), c.hop.gateway);
        EXPECT_EQ(items[0].get_be32_array(routes::Gateways), std::vector<uint32_t>(c.gateways, c.hop.gateway));
        EXPECT_THAT(items[0].get_u32_array(routes::Interfaces), ElementsAre(c.hop.link));
    }
}

TEST_F(RoutesTest, RowsAreFoundByAllOrSomeOfTheirKey) {
    takes(routeTo("10.0.0.0/8", {via("10.0.0.1", 3), via("200.0.0.1", 3)}));
    takes(routeTo("10.0.0.0/24", {via("10.0.0.1", 3)}));
    takes(routeTo("200.0.0.0/8", {via("10.0.0.1", 3)}));
    EXPECT_THAT(
        keys(asksAt(key("10.0.0.0", "255.0.0.0", "200.0.0.1"), 9)),
        ElementsAre("10.0.0.0/255.0.0.0 200.0.0.1", "10.0.0.0/255.255.255.0 10.0.0.1", "200.0.0.0/255.0.0.0 10.0.0.1"));
    EXPECT_THAT(keys(asksAt(key("10.0.0.0"), 9)),
                ElementsAre("10.0.0.0/255.0.0.0 10.0.0.1", "200.0.0.0/255.0.0.0 10.0.0.1"));
    EXPECT_THAT(keys(asksAt(key("10.0.0.0", "255.0.0.0", "10.0.0.2"), 2)),
                ElementsAre("10.0.0.0/255.0.0.0 gone", "10.0.0.0/255.0.0.0 200.0.0.1"));
    // Masks with holes are no route's, and lie between those of routes.
    EXPECT_THAT(keys(asksAt(key("10.0.0.0", "255.0.255.0", "255.255.255.255"), 2)),
                ElementsAre("10.0.0.0/255.0.255.0 gone", "10.0.0.0/255.255.255.0 10.0.0.1"));
    EXPECT_THAT(keys(asksAt(key("10.0.0.0", "127.255.255.255", "255.255.255.255"), 2)),
                ElementsAre("10.0.0.0/127.255.255.255 gone", "10.0.0.0/255.0.0.0 10.0.0.1"));
    EXPECT_EQ(errorOf(asksAt(key("10.0.0.0", "0.0.0.1", "0.0.0.0"), 1)), tn::error::NotFound);
    EXPECT_EQ(ask(routes, tn::cmd::GetCount).get_u32(field::Count), 4U);
}

}  // namespace hostd
