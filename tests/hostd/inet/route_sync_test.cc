// The table of routes, from messages such as the kernel sends.

#include "hostd/inet/route_sync.h"

#include <gmock/gmock.h>

#include "tests/hostd/inet/route_messages.h"

namespace hostd {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

template <class Family>
class RouteSyncTest : public ::testing::Test {
  protected:
    static constexpr uint8_t kFamily = Family::kFamily;
    void adds(const Route4& route, uint16_t flags = 0) {
        sync.applyRoute(messageOf(route, RTM_NEWROUTE, flags, kFamily).message());
    }
    void applies(const NetlinkMessage<nhmsg>& nexthop) { EXPECT_NE(sync.applyNexthop(nexthop.message()), 0U); }
    void removes(const Route4& route) { sync.applyRoute(messageOf(route, RTM_DELROUTE, 0, kFamily).message()); }
    void lists(const std::vector<Route4>& routes) {
        for (const Route4& route : routes) sync.list(messageOf(route, RTM_NEWROUTE, NLM_F_MULTI, kFamily).message());
    }
    void endsListing() {
        int slices = 0;
        while (!sync.sweep(2)) ASSERT_LT(++slices, 1000) << "the sweep doesn't end";
    }
    std::vector<std::string> rows() { return rowsOf(table); }
    NetlinkMessage<nhmsg> objectOf(uint32_t id, const NextHop4& hop, uint16_t type = RTM_NEWNEXTHOP) {
        return object(id, hop, type, kFamily);
    }
    RouteTable<Family> table;
    RouteSync<Family> sync{table};
};
using Families = ::testing::Types<Ipv4, Ipv6>;
TYPED_TEST_SUITE(RouteSyncTest, Families);

}  // namespace

TYPED_TEST(RouteSyncTest, MessagesAboutSomethingElseChangeNothing) {
    const Route4 route = routeTo("10.0.0.0/8", {via("10.0.1.2", 3)});
    const auto takes = [&](const auto& change) {
        auto message = messageOf(route, RTM_NEWROUTE, 0, TypeParam::kFamily);
        change(*static_cast<rtmsg*>(mnl_nlmsg_get_payload(message.raw())), message);
        this->sync.applyRoute(message.message());
    };
    takes([](rtmsg& about, auto&) { about.rtm_family = AF_INET + AF_INET6 - TypeParam::kFamily; });
    takes([](rtmsg& about, auto&) { about.rtm_dst_len = TypeParam::kMaxLength + 1; });
    takes([](rtmsg& about, auto&) { about.rtm_flags = RTM_F_CLONED; });
    takes([](rtmsg&, auto& message) { message.value(RTA_TABLE, uint32_t{1254}); });
    takes([](rtmsg&, auto& message) { message.raw()->nlmsg_len = NLMSG_HDRLEN + 8; });
    takes([](rtmsg&, auto& message) { message.raw()->nlmsg_type = RTM_NEWLINK; });
    EXPECT_THAT(this->rows(), IsEmpty());
    // What can't be read of the next hops is left out, the rest isn't.
    constexpr uint16_t kSize = 8 + 4 + TypeParam::kMaxLength / 8;
    auto cut =
        messageOf(routeTo("10.0.0.0/8", {via("10.0.1.2", 3), via("10.0.1.3", 3)}), RTM_NEWROUTE, 0, TypeParam::kFamily);
    auto* last = reinterpret_cast<rtnexthop*>(reinterpret_cast<uint8_t*>(cut.raw()) + cut.raw()->nlmsg_len - kSize);
    ASSERT_EQ(last->rtnh_len, kSize);
    last->rtnh_len = kSize + 1;
    this->sync.applyRoute(cut.message());
    EXPECT_THAT(this->rows(), ElementsAre("10.0.0.0/8 10.0.1.2 dev 3"));
}

TYPED_TEST(RouteSyncTest, ASweepInSlicesRemovesAllThatAListingDoesNotHave) {
    const Route4 listed = routeTo("10.1.0.0/16", {through(3)});
    for (const char* prefix : {"10.1.0.0/16", "10.2.0.0/16", "10.3.0.0/16", "200.0.0.0/8"})
        for (const uint32_t metric : {10U, 20U, 30U}) this->adds(with(routeTo(prefix, {through(3)}), metric));
    this->removes(with(listed, 10));
    this->sync.beginListing();
    this->removes(with(listed, 30));
    this->lists({listed, with(listed, 20), with(listed, 30)});  // the last one from before that
    if (this->sync.hasGaps()) {                                 // what isn't listed may exist
        this->endsListing();
        EXPECT_EQ(this->table.size(), 4U);
        this->sync.beginListing();
        this->lists({listed, with(listed, 20)});
    }
    EXPECT_EQ(this->table.size(), 4U);                          // nothing is removed before the listing's end
    ASSERT_FALSE(this->sync.sweep(100));                        // what is behind rows
    this->adds(with(routeTo("10.2.0.0/16", {through(3)}), 5));  // must not restore the row that has gone
    this->endsListing();
    EXPECT_THAT(this->rows(), ElementsAre("10.1.0.0/16 0.0.0.0 dev 3", "10.2.0.0/16 0.0.0.0 dev 3 metric 5"));
    EXPECT_EQ(this->sync.swept(), 9U);
    for (const Route4& gone : {listed, with(listed, 20), with(routeTo("10.2.0.0/16", {through(3)}), 5)})
        this->removes(gone);
    EXPECT_THAT(this->rows(), IsEmpty());
    EXPECT_FALSE(this->sync.usesLink(3));
    EXPECT_FALSE(this->sync.takeDoubt());
}

TYPED_TEST(RouteSyncTest, AChangeOfARouteThatIsNotKnownForSureNeedsAnotherListing) {
    const auto by = [](uint32_t link) { return routeTo("10.1.0.0/16", {through(link)}); };
    this->sync.beginListing();
    this->adds(by(1), NLM_F_REPLACE);  // the replaced one may still be listed
    EXPECT_TRUE(this->sync.takeDoubt());
    this->adds(by(2), NLM_F_APPEND);
    EXPECT_FALSE(this->sync.takeDoubt());
    this->adds(by(3), NLM_F_REPLACE);  // the order of those two is inferred
    EXPECT_TRUE(this->sync.takeDoubt());
    this->removes(by(4));  // neither of those two
    EXPECT_TRUE(this->sync.takeDoubt());
}

TYPED_TEST(RouteSyncTest, RoutesThroughNexthopObjectsHaveTheirNextHops) {
    this->applies(this->objectOf(7, via("10.0.3.2", 3)));
    this->applies(this->objectOf(8, via("10.0.2.2", 2)));
    this->applies(groupOf(9, {7, 8, 77}));
    Route4 reported = by(7, "10.4.0.0/16");
    reported.hops = {via("10.0.4.4", 4)};  // net.ipv4.nexthop_compat_mode=1
    Route4 discarded = by(7, "10.5.0.0/16");
    discarded.type = RTN_BLACKHOLE;
    for (const Route4& route : {by(7, "10.1.0.0/16"), by(9, "10.2.0.0/16"), by(70, "10.3.0.0/16"), reported, discarded})
        this->adds(route);
    EXPECT_THAT(this->rows(),
                ElementsAre("10.1.0.0/16 10.0.3.2 dev 3", "10.2.0.0/16 10.0.2.2 dev 2", "10.2.0.0/16 10.0.3.2 dev 3",
                            "10.4.0.0/16 10.0.4.4 dev 4", "10.5.0.0/16 0.0.0.0 dev 0"));
    for (const uint32_t used : {7U, 8U, 9U, 70U, 77U}) EXPECT_TRUE(this->sync.usesNexthop(used)) << used;
    EXPECT_FALSE(this->sync.usesNexthop(10));

    // When an object changes, its routes must be listed anew; notifications meanwhile override what is listed.
    this->sync.beginListing();
    this->applies(this->objectOf(7, via("10.0.3.4", 3)));
    this->applies(this->objectOf(8, {}, RTM_DELNEXTHOP));
    for (const auto& old : {this->objectOf(7, via("10.0.3.2", 3)), this->objectOf(8, via("10.0.2.2", 2)),
                            groupOf(9, {7}), this->objectOf(70, {.link = 5, .hasGateway = true})})
        this->sync.list(old.message());
    this->sync.endNexthops();
    EXPECT_FALSE(this->sync.usesNexthop(8));
    EXPECT_FALSE(this->sync.usesNexthop(77));
    this->lists({by(7, "10.1.0.0/16"), by(9, "10.2.0.0/16"), by(70, "10.3.0.0/16")});
    this->endsListing();
    EXPECT_THAT(this->rows(),
                ElementsAre("10.1.0.0/16 10.0.3.4 dev 3", "10.2.0.0/16 10.0.3.4 dev 3", "10.3.0.0/16 0.0.0.0 dev 5"));
    this->removes(by(70, "10.3.0.0/16"));
    EXPECT_FALSE(this->sync.usesNexthop(70));
    this->applies(
        this->objectOf(7, via("10.0.3.5", 3)));  // the notification names the next hop that the object has now
    for (const Route4& route : {by(7, "10.1.0.0/16"), by(9, "10.2.0.0/16")}) this->removes(route);
    EXPECT_THAT(this->rows(), IsEmpty());
}

using Ipv6RouteSyncTest = RouteSyncTest<Ipv6>;

TEST_F(Ipv6RouteSyncTest, RoutesWithOnePrefixAndMetricAreNextHopsOfOneRoute) {
    const auto to = [](std::vector<NextHop4> hops) { return routeTo("10.1.0.0/16", std::move(hops)); };
    const NextHop4 a = via("10.0.0.1", 1), b = via("10.0.0.2", 2), c = via("10.0.0.3", 3);
    const std::string rowA = "10.1.0.0/16 10.0.0.1 dev 1", rowB = "10.1.0.0/16 10.0.0.2 dev 2",
                      rowC = "10.1.0.0/16 10.0.0.3 dev 3", rowLink = "10.1.0.0/16 0.0.0.0 dev 4";
    adds(to({a}));
    adds(to({through(4)}));  // can't be merged without a gateway
    adds(to({a, b}));
    EXPECT_THAT(rows(), ElementsAre(rowLink, rowA, rowB));
    sync.beginListing();
    adds(to({a, b, c}), NLM_F_APPEND);
    lists({to({a, b}), to({through(4)})});  // the first one from before that
    EXPECT_THAT(rows(), ElementsAre(rowLink, rowA, rowB, rowC));
    removes(to({b}));
    lists({to({a, b, c})});
    endsListing();
    EXPECT_THAT(rows(), ElementsAre(rowLink, rowA, rowC));
    EXPECT_FALSE(sync.takeDoubt());
    adds(to({b}), NLM_F_REPLACE);  // the one with gateways, with all that they were
    EXPECT_THAT(rows(), ElementsAre(rowLink, rowB));
    EXPECT_TRUE(sync.takeDoubt());
    sync.beginListing();
    lists({to({b, c}), to({through(4)})});  // from after a change whose notification is still queued
    EXPECT_THAT(rows(), ElementsAre(rowLink, rowB, rowC));
    removes(to({b}));
    endsListing();
    EXPECT_THAT(rows(), ElementsAre(rowLink, rowC));
    removes(to({c}));
    removes(to({through(4)}));
    EXPECT_THAT(rows(), IsEmpty());
    EXPECT_FALSE(sync.takeDoubt());
}

TEST_F(Ipv6RouteSyncTest, AListingWithGapsRemovesOnlyWhatTheOneBeforeLacksToo) {
    const Route4 gone = routeTo("10.1.0.0/16", {through(3)}), other = routeTo("10.2.0.0/16", {through(3)});
    const auto listing = [&](const std::vector<Route4>& listed) {
        sync.beginListing();
        removes(other);
        lists(listed);
        endsListing();
        EXPECT_TRUE(sync.hasGaps());
        return rows().size();
    };
    EXPECT_EQ(listing({gone}), 1U);
    EXPECT_EQ(listing({}), 1U);
    EXPECT_EQ(listing({}), 0U);
    sync.beginListing();
    EXPECT_FALSE(sync.hasGaps());
}

}  // namespace hostd
