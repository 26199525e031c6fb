// The table of routes, from messages such as the kernel sends.

#include "hostd/inet/route_sync.h"

#include <gmock/gmock.h>

#include "tests/hostd/inet/route_messages.h"

namespace hostd {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using NextHop = Route::NextHop;

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
        for (int slices = 0; slices < 1000; ++slices)
            if (sync.sweep(2)) return;
        FAIL() << "the sweep doesn't end";
    }
    std::vector<std::string> rows() { return rowsOf(table); }
    RouteTable table;
    RouteSync sync{table};
};

}  // namespace

TEST_F(RouteSyncTest, EachUsableNextHopIsARow) {
    adds(routeTo("10.9.0.0/16", {via("10.0.3.2", 7), via("10.0.1.2", 3), via("200.0.2.2", 5, false)}));
    adds(routeTo("0.0.0.0/0", {via("10.0.1.2", 3)}));
    adds(routeTo("10.9.0.0/24", {through(4)}));
    adds(routeTo("10.9.1.0/24", {via("10.0.1.9", 3, false)}));
    adds(routeTo("200.0.0.1/32", {via("10.0.1.2", 3)}));
    EXPECT_THAT(rows(),
                ElementsAre("0.0.0.0/0 10.0.1.2 dev 3", "10.9.0.0/16 10.0.1.2 dev 3", "10.9.0.0/16 10.0.3.2 dev 7",
                            "10.9.0.0/24 0.0.0.0 dev 4", "200.0.0.1/32 10.0.1.2 dev 3"));
    EXPECT_TRUE(sync.usesLink(5));
    removes(routeTo("10.9.0.0/16", {via("10.0.3.2", 7), via("10.0.1.2", 3), via("200.0.2.2", 5)}));
    removes(routeTo("0.0.0.0/0", {via("10.0.1.2", 3)}));
    EXPECT_THAT(rows(), ElementsAre("10.9.0.0/24 0.0.0.0 dev 4", "200.0.0.1/32 10.0.1.2 dev 3"));
    EXPECT_FALSE(sync.usesLink(5));
    EXPECT_FALSE(sync.takeDoubt());
}

TEST_F(RouteSyncTest, OfRoutesWithTheSameKeyTheBestIsARowAndNoneIsLost) {
    const Route route = routeTo("10.0.0.0/8", {via("10.0.1.2", 3)});
    adds(with(route, 100));
    adds(with(route, 0, 8));  // for one TOS alone
    EXPECT_THAT(rows(), ElementsAre("10.0.0.0/8 10.0.1.2 dev 3 metric 100"));
    adds(with(route, 50));
    removes(with(route, 100));
    EXPECT_THAT(rows(), ElementsAre("10.0.0.0/8 10.0.1.2 dev 3 metric 50"));
    // A nexthop object of it has changed since.
    Route changed = with(route, 50);
    changed.hops = {via("10.0.1.3", 3)};
    removes(changed);
    EXPECT_THAT(rows(), ElementsAre("10.0.0.0/8 10.0.1.2 dev 3"));
}

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
    removes(route);
    EXPECT_FALSE(sync.takeDoubt());
    // What can't be read of the next hops is left out, the rest isn't.
    auto cut = messageOf(routeTo("10.0.0.0/8", {via("10.0.1.2", 3), via("10.0.1.3", 3)}));
    auto* last = reinterpret_cast<rtnexthop*>(reinterpret_cast<uint8_t*>(cut.raw()) + cut.raw()->nlmsg_len - 16);
    ASSERT_EQ(last->rtnh_len, 16);
    last->rtnh_len = 17;
    sync.applyRoute(cut.message());
    EXPECT_THAT(rows(), ElementsAre("10.0.0.0/8 10.0.1.2 dev 3"));
}

TEST_F(RouteSyncTest, AListingUpdatesTheTableWhileNotificationsContinue) {
    const auto one = [](int n, bool isUsable = true) {
        return routeTo("10." + std::to_string(n) + ".0.0/16", {via("10.0.0.1", 3, isUsable)});
    };
    for (int n = 1; n <= 6; ++n) adds(one(n));
    sync.beginListing();
    removes(one(1));
    adds(one(7));
    adds(routeTo("10.2.0.0/16", {via("10.0.0.2", 3)}), NLM_F_REPLACE);
    lists({one(1), one(2)});                 // from before these changes
    lists({one(3), one(4, false), one(8)});  // 5 and 6 went without a notification
    EXPECT_EQ(table.size(), 6U);             // nothing is taken away before the listing's end
    endsListing();
    EXPECT_THAT(rows(), ElementsAre("10.2.0.0/16 10.0.0.2 dev 3", "10.3.0.0/16 10.0.0.1 dev 3",
                                    "10.7.0.0/16 10.0.0.1 dev 3", "10.8.0.0/16 10.0.0.1 dev 3"));
    EXPECT_EQ(sync.swept(), 2U);
    EXPECT_FALSE(sync.takeDoubt());

    sync.beginListing();
    lists({one(1), one(4)});  // which has got its carrier back
    endsListing();
    EXPECT_THAT(rows(), ElementsAre("10.1.0.0/16 10.0.0.1 dev 3", "10.4.0.0/16 10.0.0.1 dev 3"));

    // What was replaced before it could be listed may still come: only another listing can tell.
    sync.beginListing();
    adds(one(9), NLM_F_REPLACE);
    endsListing();
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

    sync.beginListing();  // no notification for an object that goes with its link
    sync.list(object(7, via("10.0.3.4", 3)).message());
    sync.endNexthops();
    lists({by(7, "10.1.0.0/16")});
    endsListing();
    adds(by(70, "10.3.0.0/16"));
    EXPECT_THAT(rows(), ElementsAre("10.1.0.0/16 10.0.3.4 dev 3"));
    removes(by(70, "10.3.0.0/16"));
    EXPECT_FALSE(sync.usesNexthop(70));
}

TEST_F(RouteSyncTest, ANotificationDuringASweepRestoresNoRouteThatHasGone) {
    const Route route = routeTo("10.1.0.0/16", {via("10.0.0.1", 3)});
    adds(with(route, 20));
    sync.beginListing();            // it has gone unnoticed
    ASSERT_FALSE(sync.sweep(100));  // those behind rows
    adds(with(route, 10));
    endsListing();
    EXPECT_THAT(rows(), ElementsAre("10.1.0.0/16 10.0.0.1 dev 3 metric 10"));
    EXPECT_EQ(sync.swept(), 1U);
    removes(with(route, 10));
    EXPECT_THAT(rows(), IsEmpty());
    EXPECT_FALSE(sync.usesLink(3));
}

}  // namespace hostd
