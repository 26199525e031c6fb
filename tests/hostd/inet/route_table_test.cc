// The table of routes, from messages such as the kernel sends.

#include "hostd/inet/route_table.h"

#include <gmock/gmock.h>
#include <linux/nexthop.h>

#include <algorithm>
#include <deque>
#include <random>
#include <sstream>

#include "hostd/inet/route_monitor.h"
#include "tests/hostd/inet/route_messages.h"

namespace hostd {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using NextHop = Route::NextHop;

/// "10.0.0.0/8 10.1.1.1 dev 2 metric 5"
std::string text(const RouteEntry& row) {
    std::ostringstream out;
    out << dotted(row.destination) << '/' << int{row.length} << ' ' << dotted(row.gateway) << " dev " << row.link;
    if (row.metric != 0) out << " metric " << row.metric;
    return out.str();
}

std::vector<std::string> rowsOf(const RouteTable& table) {
    std::vector<std::string> all;
    for (const auto* row = table.firstFrom({}); row != nullptr; row = table.after(*row)) all.push_back(text(*row));
    EXPECT_EQ(table.size(), all.size());
    return all;
}

/// A nexthop object, or a group of them.
NetlinkMessage<nhmsg> object(uint32_t id, const NextHop& hop, uint16_t type = RTM_NEWNEXTHOP) {
    NetlinkMessage<nhmsg> message(type, {});
    message.value(NHA_ID, id).value(NHA_OIF, hop.link);
    if (hop.gateway != 0) return message.value(NHA_GATEWAY, htonl(hop.gateway));
    return hop.hasGateway ? message.octets(NHA_GATEWAY, std::vector<uint8_t>(16, 1)) : message;
}
NetlinkMessage<nhmsg> groupOf(uint32_t id, const std::vector<uint32_t>& members) {
    std::vector<nexthop_grp> group;
    for (const uint32_t member : members) group.push_back({.id = member, .weight = 0, .resvd1 = 0, .resvd2 = 0});
    NetlinkMessage<nhmsg> message(RTM_NEWNEXTHOP, {});
    mnl_attr_put(message.raw(), NHA_GROUP, group.size() * sizeof group[0], group.data());
    return message.value(NHA_ID, id);
}
/// A route for which the kernel reports only the nexthop object's id.
Route by(uint32_t nexthop, const std::string& prefix) {
    Route route = routeTo(prefix, {NextHop{}});
    route.nexthop = nexthop;
    return route;
}

class RouteTableTest : public ::testing::Test {
  protected:
    void adds(const Route& route, uint16_t flags = 0) { table.take(messageOf(route, RTM_NEWROUTE, flags).message()); }
    void takes(const NetlinkMessage<nhmsg>& nexthop) { table.take(nexthop.message()); }
    void removes(const Route& route) { table.take(messageOf(route, RTM_DELROUTE).message()); }
    void lists(const std::vector<Route>& routes) {
        for (const Route& route : routes) table.list(messageOf(route, RTM_NEWROUTE, NLM_F_MULTI).message());
    }
    void endsListing() {
        for (int slices = 0; slices < 1000; ++slices)
            if (table.sweep(2)) return;
        FAIL() << "the sweep doesn't end";
    }
    std::vector<std::string> rows() { return rowsOf(table); }
    RouteTable table;
};

}  // namespace

TEST_F(RouteTableTest, EachGatewayThatCanBeTakenIsARow) {
    adds(routeTo("10.9.0.0/16", {via("10.0.3.2", 7), via("10.0.1.2", 3), via("200.0.2.2", 5, false)}));
    adds(routeTo("0.0.0.0/0", {via("10.0.1.2", 3)}));
    adds(routeTo("10.9.0.0/24", {through(4)}));
    adds(routeTo("10.9.1.0/24", {via("10.0.1.9", 3, false)}));
    adds(routeTo("200.0.0.1/32", {via("10.0.1.2", 3)}));
    EXPECT_THAT(rows(),
                ElementsAre("0.0.0.0/0 10.0.1.2 dev 3", "10.9.0.0/16 10.0.1.2 dev 3", "10.9.0.0/16 10.0.3.2 dev 7",
                            "10.9.0.0/24 0.0.0.0 dev 4", "200.0.0.1/32 10.0.1.2 dev 3"));
    EXPECT_TRUE(table.usesLink(5));
    removes(routeTo("10.9.0.0/16", {via("10.0.3.2", 7), via("10.0.1.2", 3), via("200.0.2.2", 5)}));
    removes(routeTo("0.0.0.0/0", {via("10.0.1.2", 3)}));
    EXPECT_THAT(rows(), ElementsAre("10.9.0.0/24 0.0.0.0 dev 4", "200.0.0.1/32 10.0.1.2 dev 3"));
    EXPECT_FALSE(table.usesLink(5));
    EXPECT_FALSE(table.takeDoubt());
}

TEST_F(RouteTableTest, OfRoutesWithTheSameKeyTheBestIsShownAndNoneIsLost) {
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

TEST_F(RouteTableTest, MessagesAboutSomethingElseChangeNothing) {
    const Route route = routeTo("10.0.0.0/8", {via("10.0.1.2", 3)});
    const auto takes = [&](const auto& change) {
        auto message = messageOf(route);
        change(*static_cast<rtmsg*>(mnl_nlmsg_get_payload(message.raw())), message);
        table.take(message.message());
    };
    takes([](rtmsg& about, auto&) { about.rtm_family = AF_INET6; });
    takes([](rtmsg& about, auto&) { about.rtm_dst_len = 33; });
    takes([](rtmsg& about, auto&) { about.rtm_flags = RTM_F_CLONED; });
    takes([](rtmsg&, auto& message) { message.value(RTA_TABLE, uint32_t{1254}); });
    takes([](rtmsg&, auto& message) { message.raw()->nlmsg_len = NLMSG_HDRLEN + 8; });
    takes([](rtmsg&, auto& message) { message.raw()->nlmsg_type = RTM_NEWLINK; });
    EXPECT_THAT(rows(), IsEmpty());
    removes(route);
    EXPECT_FALSE(table.takeDoubt());
    // What can't be read of the next hops is left out, the rest isn't.
    auto cut = messageOf(routeTo("10.0.0.0/8", {via("10.0.1.2", 3), via("10.0.1.3", 3)}));
    auto* last = reinterpret_cast<rtnexthop*>(reinterpret_cast<uint8_t*>(cut.raw()) + cut.raw()->nlmsg_len - 16);
    ASSERT_EQ(last->rtnh_len, 16);
    last->rtnh_len = 17;
    table.take(cut.message());
    EXPECT_THAT(rows(), ElementsAre("10.0.0.0/8 10.0.1.2 dev 3"));
}

TEST_F(RouteTableTest, AListingBringsTheTableUpToDateWhileNotificationsGoOn) {
    const auto one = [](int n, bool isUsable = true) {
        return routeTo("10." + std::to_string(n) + ".0.0/16", {via("10.0.0.1", 3, isUsable)});
    };
    for (int n = 1; n <= 6; ++n) adds(one(n));
    table.beginListing();
    removes(one(1));
    adds(one(7));
    adds(routeTo("10.2.0.0/16", {via("10.0.0.2", 3)}), NLM_F_REPLACE);
    lists({one(1), one(2)});                 // from before these changes
    lists({one(3), one(4, false), one(8)});  // of 5 and 6 nothing was told when they went
    EXPECT_EQ(table.size(), 6U);             // nothing is taken away before the listing's end
    endsListing();
    EXPECT_THAT(rows(), ElementsAre("10.2.0.0/16 10.0.0.2 dev 3", "10.3.0.0/16 10.0.0.1 dev 3",
                                    "10.7.0.0/16 10.0.0.1 dev 3", "10.8.0.0/16 10.0.0.1 dev 3"));
    EXPECT_EQ(table.swept(), 2U);
    EXPECT_FALSE(table.takeDoubt());

    table.beginListing();
    lists({one(1), one(4)});  // which was without carrier, and isn't any more
    endsListing();
    EXPECT_THAT(rows(), ElementsAre("10.1.0.0/16 10.0.0.1 dev 3", "10.4.0.0/16 10.0.0.1 dev 3"));

    // What was replaced before it could be listed may still come: only another listing can tell.
    table.beginListing();
    adds(one(9), NLM_F_REPLACE);
    endsListing();
    EXPECT_TRUE(table.takeDoubt());
}

TEST_F(RouteTableTest, RoutesThroughNexthopObjectsHaveTheHopsBehindThem) {
    takes(object(7, via("10.0.3.2", 3)));
    takes(object(8, via("10.0.2.2", 2)));
    takes(groupOf(9, {7, 8, 77}));
    Route told = by(7, "10.4.0.0/16");
    told.hops = {via("10.0.4.4", 4)};  // net.ipv4.nexthop_compat_mode=1
    Route discarded = by(7, "10.5.0.0/16");
    discarded.type = RTN_BLACKHOLE;
    for (const Route& route : {by(7, "10.1.0.0/16"), by(9, "10.2.0.0/16"), by(70, "10.3.0.0/16"), told, discarded})
        adds(route);
    EXPECT_THAT(rows(),
                ElementsAre("10.1.0.0/16 10.0.3.2 dev 3", "10.2.0.0/16 10.0.2.2 dev 2", "10.2.0.0/16 10.0.3.2 dev 3",
                            "10.4.0.0/16 10.0.4.4 dev 4", "10.5.0.0/16 0.0.0.0 dev 0"));
    for (const uint32_t used : {7U, 8U, 9U, 70U, 77U}) EXPECT_TRUE(table.usesNexthop(used)) << used;
    EXPECT_FALSE(table.usesNexthop(10));

    // When an object changes, its routes must be listed anew; notifications meanwhile override what is listed.
    table.beginListing();
    takes(object(7, via("10.0.3.4", 3)));
    takes(object(8, {}, RTM_DELNEXTHOP));
    for (const auto& old : {object(7, via("10.0.3.2", 3)), object(8, via("10.0.2.2", 2)), groupOf(9, {7}),
                            object(70, {.link = 5, .hasGateway = true})})
        table.list(old.message());
    table.endNexthops();
    EXPECT_FALSE(table.usesNexthop(8));
    EXPECT_FALSE(table.usesNexthop(77));
    lists({by(7, "10.1.0.0/16"), by(9, "10.2.0.0/16"), by(70, "10.3.0.0/16")});
    endsListing();
    EXPECT_THAT(rows(),
                ElementsAre("10.1.0.0/16 10.0.3.4 dev 3", "10.2.0.0/16 10.0.3.4 dev 3", "10.3.0.0/16 0.0.0.0 dev 5"));

    table.beginListing();  // no notification for an object that goes with its link
    table.list(object(7, via("10.0.3.4", 3)).message());
    table.endNexthops();
    lists({by(7, "10.1.0.0/16")});
    endsListing();
    adds(by(70, "10.3.0.0/16"));
    EXPECT_THAT(rows(), ElementsAre("10.1.0.0/16 10.0.3.4 dev 3"));
    removes(by(70, "10.3.0.0/16"));
    EXPECT_FALSE(table.usesNexthop(70));
}

TEST_F(RouteTableTest, WhatIsToldDuringASweepBringsNothingBackThatHasGone) {
    const Route route = routeTo("10.1.0.0/16", {via("10.0.0.1", 3)});
    adds(with(route, 20));
    table.beginListing();            // it has gone unnoticed
    ASSERT_FALSE(table.sweep(100));  // those behind rows
    adds(with(route, 10));
    endsListing();
    EXPECT_THAT(rows(), ElementsAre("10.1.0.0/16 10.0.0.1 dev 3 metric 10"));
    EXPECT_EQ(table.swept(), 1U);
    removes(with(route, 10));
    EXPECT_THAT(rows(), IsEmpty());
    EXPECT_FALSE(table.usesLink(3));
}

namespace {

/// The main table of a kernel: routes in the order of its trie, and the notifications of each change.
class Kernel {
  public:
    explicit Kernel(unsigned seed) : random_(seed) {}

    struct Notice {
        Route route;
        uint16_t type, flags;
    };
    std::deque<Notice> notices;

    size_t any(size_t below) { return std::uniform_int_distribution<size_t>(0, below - 1)(random_); }

    /// A change that is told of, or, one in twelve, a link that goes or comes back.
    void change() { any(12) == 0 ? changeLink() : changeRoute(); }
    void changeRoute() {
        switch (any(5)) {
            case 0:
            case 1:
                return add(0);
            case 2:
                return add(NLM_F_APPEND);
            case 3:
                return add(NLM_F_REPLACE);
            default:
                return remove();
        }
    }

    /// The routes to the first destination at or after this one, as one packet of a listing; moves on behind it.
    std::vector<Route> list(uint64_t& from) const {
        std::vector<Route> packet;
        for (const Route& route : routes_) {
            if (route.destination < from) continue;
            if (!packet.empty() && packet[0].destination != route.destination) break;
            packet.push_back(route);
        }
        from = packet.empty() ? UINT64_MAX : uint64_t{packet[0].destination} + 1;
        return packet;
    }

    /// What the rows have to be, found the slow way.
    [[nodiscard]] std::vector<std::string> rows() const {
        std::vector<RouteEntry> rows;
        for (const Route& route : routes_)
            for (const NextHop& hop : route.hops) {
                if (!hop.isUsable) continue;
                const RouteEntry entry(route, hop, static_cast<int32_t>(&route - routes_.data()), 0);
                const auto same = std::ranges::find(rows, entry.key(), &RouteEntry::key);
                if (same == rows.end())
                    rows.push_back(entry);
                else if (entry.isBetterThan(*same))
                    *same = entry;
            }
        std::ranges::sort(rows, {}, &RouteEntry::key);
        std::vector<std::string> all;
        for (const RouteEntry& row : rows) all.push_back(text(row));
        return all;
    }

    [[nodiscard]] bool usesLink(uint32_t link) const {
        return std::ranges::any_of(
            routes_, [link](const Route& route) { return std::ranges::count(route.hops, link, &NextHop::link) > 0; });
    }

  private:
    static auto id(const Route& r) { return std::tuple(r.destination, 32 - r.length, 255 - r.tos, r.metric); }
    static bool isSame(const Route& a, const Route& b) { return id(a) == id(b) && a.hops == b.hops; }

    Route anyRoute() {
        const char* const prefixes[] = {"0.0.0.0/0", "10.0.0.0/8", "10.0.0.0/16", "10.0.0.0/24", "192.0.2.1/32"};
        Route route = routeTo(prefixes[any(std::size(prefixes))], {});
        route.metric = static_cast<uint32_t>(any(2));
        route.tos = any(8) == 0 ? 4 : 0;
        for (size_t i = any(5) == 0 ? 3 : 1; i-- > 0;)
            route.hops.push_back(via("10.0.0." + std::to_string(1 + any(3)), 1 + static_cast<uint32_t>(i)));
        return route;
    }

    void add(uint16_t flags) {
        const Route route = anyRoute();
        const auto first = std::ranges::lower_bound(routes_, id(route), {}, id);
        const auto last = std::ranges::upper_bound(routes_, id(route), {}, id);
        if (std::any_of(first, last, [&](const Route& other) { return isSame(route, other); })) return;
        if (flags == NLM_F_REPLACE && first == last) flags = 0;
        notices.push_back({route, RTM_NEWROUTE, flags});
        if (flags == NLM_F_REPLACE)
            *first = route;
        else
            routes_.insert(flags == NLM_F_APPEND ? last : first, route);
    }

    void remove() {
        if (routes_.empty()) return;
        const auto gone = routes_.begin() + static_cast<std::ptrdiff_t>(any(routes_.size()));
        notices.push_back({*gone, RTM_DELROUTE, 0});
        routes_.erase(gone);
    }

    /// What goes by a link goes without a word.
    void changeLink() {
        const auto link = static_cast<uint32_t>(1 + any(3));
        for (Route& route : routes_)
            for (NextHop& hop : route.hops)
                if (hop.link == link) hop.isUsable = any(2) == 0;
        std::erase_if(routes_, [](const Route& r) { return std::ranges::none_of(r.hops, &NextHop::isUsable); });
        linksChanged = true;
    }

    std::mt19937 random_;
    std::vector<Route> routes_;

  public:
    bool linksChanged = false;
};

/// A table that follows a kernel as RouteMonitor makes it do, with notifications that are late or lost.
class Follower {
  public:
    explicit Follower(Kernel& kernel) : kernel_(kernel) {}

    void step() {
        if (kernel_.any(20) == 0 && !kernel_.notices.empty()) {
            kernel_.notices.clear();
            wereLost_ = isWanted_ = true;
        }
        read(kernel_.any(4));
        next();
    }
    /// Until nothing is left to be done.
    void settle() {
        isSettling_ = true;
        for (int i = 0; i < 1000; ++i) {
            read(SIZE_MAX);
            if (!next()) return;
        }
        FAIL() << "listed over and over again";
    }
    /// Takes in as many notifications.
    void read(size_t most) {
        for (; most > 0 && !kernel_.notices.empty(); --most) {
            const Kernel::Notice& next = kernel_.notices.front();
            table.take(messageOf(next.route, next.type, next.flags).message());
            kernel_.notices.pop_front();
        }
    }
    RouteTable table;

  private:
    /// Goes on with the listing, or begins one that is wanted. @return whether there was one
    bool next() {
        if (std::exchange(kernel_.linksChanged, false) || table.takeDoubt()) isWanted_ = true;
        if (!isListing_ && !isWanted_) return false;
        isListing_ ? advance() : begin();
        return true;
    }
    void begin() {
        isListing_ = true;
        isWanted_ = false;
        from_ = 0;
        table.beginListing();
        waiting_ = kernel_.list(from_);
    }
    /// The kernel writes the next packet when the last one is read.
    void advance() {
        const std::vector<Route> packet = std::exchange(waiting_, kernel_.list(from_));
        for (const Route& route : packet) table.list(messageOf(route, RTM_NEWROUTE, NLM_F_MULTI).message());
        if (!packet.empty()) return;
        read(SIZE_MAX);
        while (!table.sweep(1))
            if (!isSettling_) {
                kernel_.change();
                read(kernel_.any(3));
            }
        isListing_ = false;
        if (table.swept() > 0 || std::exchange(wereLost_, false)) isWanted_ = true;
    }

    Kernel& kernel_;
    std::vector<Route> waiting_;
    uint64_t from_ = 0;
    bool isListing_ = false, isWanted_ = true, wereLost_ = false, isSettling_ = false;
};

}  // namespace

TEST(RouteTable, EndsUpAsTheKernelIsWhateverIsLateOrLost) {
    for (unsigned seed = 0; seed < 100; ++seed) {
        Kernel kernel(seed);
        Follower follower(kernel);
        for (int i = 0; i < 200; ++i) {
            kernel.change();
            follower.step();
        }
        follower.settle();
        ASSERT_EQ(rowsOf(follower.table), kernel.rows()) << "seed " << seed;
        for (const uint32_t link : {1U, 2U, 3U})
            ASSERT_EQ(follower.table.usesLink(link), kernel.usesLink(link)) << "seed " << seed << ", link " << link;
        // Nothing of what went before shows when more is told.
        for (int i = 0; i < 20; ++i) {
            kernel.changeRoute();
            follower.read(SIZE_MAX);
            ASSERT_EQ(rowsOf(follower.table), kernel.rows()) << "seed " << seed << ", change " << i;
        }
    }
}

}  // namespace hostd
