// The table of routes, from messages such as the kernel sends.

#include "hostd/inet/route_sync.h"

#include <gmock/gmock.h>

#include "tests/hostd/inet/route_messages.h"

namespace hostd {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RouteSyncTest : public ::testing::Test {
  protected:
    void adds(const Route& route, uint16_t flags = 0) {
        sync.applyRoute(messageOf(route, RTM_NEWROUTE, flags).message());
    }
    void applies(const NetlinkMessage<nhmsg>& nexthop) { EXPECT_NE(sync.applyNexthop(nexthop.message()), 0U); }
    void removes(const Route& route) { sync.applyRoute(messageOf(route, RTM_DELROUTE).message()); }
    void lists(const std::vector<Route>& routes) {
        for (const Route& route : routes) sync.list(messageOf(route, RTM_NEWROUTE, NLM_F_MULTI).message());
    }
    void endsListing() {
        int slices = 0;
        while (!sync.sweep(2)) ASSERT_LT(++slices, 1000) << "the sweep doesn't end";
    }
    std::vector<std::string> rows() { return rowsOf(table); }
    RouteTable table;
    RouteSync sync{table};
};

}  // namespace

TEST_F(RouteSyncTest, MessagesAboutSomethingElseChangeNothing) {
    const Route route = routeTo("10.0.0.0/8", {via("10.0.1.2", 3)});
    const auto takes = [&](const auto& change) {
        auto message = messageOf(route);
        change(*static_cast<rtmsg*>(mnl_nlmsg_get_payload(message.raw())), message);
        sync.applyRoute(message.message());
    };
    takes([](rtmsg& about, auto&) { about.rtm_family = AF_INET6; });
    takes([](rtmsg& about, auto&) { about.rtm_dst_len = 33; });
    takes([](rtmsg& about, auto&) { about.rtm_flags = RTM_F_CLONED; });
    takes([](rtmsg&, auto& message) { message.value(RTA_TABLE, uint32_t{1254}); });
    takes([](rtmsg&, auto& message) { message.raw()->nlmsg_len = NLMSG_HDRLEN + 8; });
    takes([](rtmsg&, auto& message) { message.raw()->nlmsg_type = RTM_NEWLINK; });
    EXPECT_THAT(rows(), IsEmpty());
    // What can't be read of the next hops is left out, the rest isn't.
    auto cut = messageOf(routeTo("10.0.0.0/8", {via("10.0.1.2", 3), via("10.0.1.3", 3)}));
    auto* last = reinterpret_cast<rtnexthop*>(reinterpret_cast<uint8_t*>(cut.raw()) + cut.raw()->nlmsg_len - 16);
    ASSERT_EQ(last->rtnh_len, 16);
    last->rtnh_len = 17;
    sync.applyRoute(cut.message());
    EXPECT_THAT(rows(), ElementsAre("10.0.0.0/8 10.0.1.2 dev 3"));
}

TEST_F(RouteSyncTest, ASweepInSlicesRemovesAllThatAListingDoesNotHave) {
    const Route listed = routeTo("10.1.0.0/16", {through(3)});
    for (const char* prefix : {"10.1.0.0/16", "10.2.0.0/16", "10.3.0.0/16", "200.0.0.0/8"})
        for (const uint32_t metric : {10U, 20U, 30U}) adds(with(routeTo(prefix, {through(3)}), metric));
    removes(with(listed, 10));
    sync.beginListing();
    removes(with(listed, 30));
    lists({listed, with(listed, 20), with(listed, 30)});  // the last one from before that
    EXPECT_EQ(table.size(), 4U);                          // nothing is removed before the listing's end
    ASSERT_FALSE(sync.sweep(100));                        // what is behind rows
    adds(with(routeTo("10.2.0.0/16", {through(3)}), 5));  // must not restore the row that has gone
    endsListing();
    EXPECT_THAT(rows(), ElementsAre("10.1.0.0/16 0.0.0.0 dev 3", "10.2.0.0/16 0.0.0.0 dev 3 metric 5"));
    EXPECT_EQ(sync.swept(), 9U);
    for (const Route& gone : {listed, with(listed, 20), with(routeTo("10.2.0.0/16", {through(3)}), 5)}) removes(gone);
    EXPECT_THAT(rows(), IsEmpty());
    EXPECT_FALSE(sync.usesLink(3));
    EXPECT_FALSE(sync.takeDoubt());
}

TEST_F(RouteSyncTest, AChangeOfARouteThatIsNotKnownForSureNeedsAnotherListing) {
    const auto by = [](uint32_t link) { return routeTo("10.1.0.0/16", {through(link)}); };
    sync.beginListing();
    adds(by(1), NLM_F_REPLACE);  // the replaced one may still be listed
    EXPECT_TRUE(sync.takeDoubt());
    adds(by(2), NLM_F_APPEND);
    EXPECT_FALSE(sync.takeDoubt());
    adds(by(3), NLM_F_REPLACE);  // the order of those two is inferred
    EXPECT_TRUE(sync.takeDoubt());
    removes(by(4));  // neither of those two
    EXPECT_TRUE(sync.takeDoubt());
}

TEST_F(RouteSyncTest, RoutesThroughNexthopObjectsHaveTheirNextHops) {
    applies(object(7, via("10.0.3.2", 3)));
    applies(object(8, via("10.0.2.2", 2)));
    applies(groupOf(9, {7, 8, 77}));
    Route reported = by(7, "10.4.0.0/16");
    reported.hops = {via("10.0.4.4", 4)};  // net.ipv4.nexthop_compat_mode=1
    Route discarded = by(7, "10.5.0.0/16");
    discarded.type = RTN_BLACKHOLE;
    for (const Route& route : {by(7, "10.1.0.0/16"), by(9, "10.2.0.0/16"), by(70, "10.3.0.0/16"), reported, discarded})
        adds(route);
    EXPECT_THAT(rows(),
                ElementsAre("10.1.0.0/16 10.0.3.2 dev 3", "10.2.0.0/16 10.0.2.2 dev 2", "10.2.0.0/16 10.0.3.2 dev 3",
                            "10.4.0.0/16 10.0.4.4 dev 4", "10.5.0.0/16 0.0.0.0 dev 0"));
    for (const uint32_t used : {7U, 8U, 9U, 70U, 77U}) EXPECT_TRUE(sync.usesNexthop(used)) << used;
    EXPECT_FALSE(sync.usesNexthop(10));

    // When an object changes, its routes must be listed anew; notifications meanwhile override what is listed.
    sync.beginListing();
    applies(object(7, via("10.0.3.4", 3)));
    applies(object(8, {}, RTM_DELNEXTHOP));
    for (const auto& old : {object(7, via("10.0.3.2", 3)), object(8, via("10.0.2.2", 2)), groupOf(9, {7}),
                            object(70, {.link = 5, .hasGateway = true})})
        sync.list(old.message());
    sync.endNexthops();
    EXPECT_FALSE(sync.usesNexthop(8));
    EXPECT_FALSE(sync.usesNexthop(77));
    lists({by(7, "10.1.0.0/16"), by(9, "10.2.0.0/16"), by(70, "10.3.0.0/16")});
    endsListing();
    EXPECT_THAT(rows(),
                ElementsAre("10.1.0.0/16 10.0.3.4 dev 3", "10.2.0.0/16 10.0.3.4 dev 3", "10.3.0.0/16 0.0.0.0 dev 5"));
    removes(by(70, "10.3.0.0/16"));
    EXPECT_FALSE(sync.usesNexthop(70));
    applies(object(7, via("10.0.3.5", 3)));  // the notification names the next hop that the object has now
    for (const Route& route : {by(7, "10.1.0.0/16"), by(9, "10.2.0.0/16")}) removes(route);
    EXPECT_THAT(rows(), IsEmpty());
}

}  // namespace hostd
