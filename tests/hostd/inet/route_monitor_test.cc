// The monitor of routes, against a kernel that the test determines: what it lists, when, and what it does when that
// fails.

#include "hostd/inet/route_follower.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>

#include "tests/hostd/inet/route_messages.h"
#include "tests/hostd/links/link_messages.h"
#include "tests/hostd/logged.h"
#include "tests/hostd/manual_clock.h"
#include "tests/hostd/netlink/scripted_kernel.h"

namespace hostd {

namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using NextHop = NextHop4;
using Time = std::chrono::milliseconds;
constexpr Time kNever = RouteMonitor<Ipv4>::kNever;
constexpr Time kInterval = RouteMonitor<Ipv4>::kInterval;
constexpr Time kDelay = RouteMonitor<Ipv4>::kDelay;

/// A kernel with these routes and no nexthop objects. It writes a packet of a listing when the one before is read, for
/// one destination after the other.
class RouteKernel : public ScriptedKernel {
  public:
    explicit RouteKernel(uint8_t ofFamily) : family(ofFamily) {}
    void begin(uint16_t type) override {
        isForRoutes_ = type == RTM_GETROUTE;
        from_ = 0;
        written_ = 0;
        next_ = write();
    }
    Packet nextPacket() override {
        if (isForRoutes_ && interrupts) std::exchange(interrupts, nullptr)();
        Packet packet = std::exchange(next_, write());
        const int code = isForRoutes_ ? routesError : nexthopsError;
        if (code != 0) return {error(code)};
        if (packet.empty()) packet.push_back(done());
        return packet;
    }

    std::vector<Route4> routes;  ///< in the kernel's order
    int nexthopsError = 0;       ///< errno with which a listing fails; 0 for none
    int routesError = 0;
    const uint8_t family;
    bool wasAdded = false;  ///< since the last packet: the listing of IPv6 continues after as many as were written
    std::function<void()> interrupts;  ///< called once, when a packet of routes is read

  private:
    Packet write() {
        Packet packet;
        if (std::exchange(wasAdded, false) && family == AF_INET6) skipWritten();
        const uint64_t from = std::exchange(from_, UINT64_MAX);
        for (const Route4& route : routes) {
            if (!isForRoutes_ || route.destination < from) continue;
            if (route.destination >= from_) break;
            from_ = uint64_t{route.destination} + 1;
            packet.push_back(octetsOf(messageOf(route, RTM_NEWROUTE, NLM_F_MULTI, family).message()));
        }
        if (!packet.empty()) ++written_;
        return packet;
    }
    void skipWritten() {
        std::set<uint32_t> destinations;
        for (const Route4& route : routes) destinations.insert(route.destination);
        from_ = UINT64_MAX;
        if (written_ < destinations.size())
            from_ = *std::next(destinations.begin(), static_cast<std::ptrdiff_t>(written_));
    }

    bool isForRoutes_ = false;
    uint64_t from_ = 0;
    size_t written_ = 0;  ///< destinations
    Packet next_;         ///< written before it is read
};

/// A table of either family, and its monitor->
class AnyMonitor {
  public:
    static std::unique_ptr<AnyMonitor> of(RouteKernel& kernel);
    virtual ~AnyMonitor() = default;
    virtual bool open(Time now) = 0;
    [[nodiscard]] virtual Time due() const = 0;
    virtual void drain(Time now, size_t packets) = 0;
    virtual void work(Time now) = 0;
    [[nodiscard]] virtual std::vector<std::string> rows() const = 0;
    [[nodiscard]] virtual bool usesLink(uint32_t link) const = 0;
    [[nodiscard]] virtual ReadingState readingState(Time now) const = 0;
};

template <class Family>
class MonitorOf : public AnyMonitor {
  public:
    explicit MonitorOf(RouteKernel& kernel) : monitor_(table_, kernel.sockets()) {}
    bool open(Time now) override { return monitor_.open(now); }
    [[nodiscard]] Time due() const override { return monitor_.due(); }
    void drain(Time now, size_t packets) override { monitor_.drain(now, packets); }
    void work(Time now) override { monitor_.work(now); }
    [[nodiscard]] std::vector<std::string> rows() const override { return rowsOf(table_); }
    [[nodiscard]] bool usesLink(uint32_t link) const override { return table_.usesLink(link); }
    [[nodiscard]] ReadingState readingState(Time now) const override { return monitor_.readingState(now); }

  private:
    RouteTable<Family> table_;
    RouteMonitor<Family> monitor_;
};

std::unique_ptr<AnyMonitor> AnyMonitor::of(RouteKernel& kernel) {
    if (kernel.family == AF_INET) return std::make_unique<MonitorOf<Ipv4>>(kernel);
    return std::make_unique<MonitorOf<Ipv6>>(kernel);
}

class RouteMonitorTest : public ::testing::TestWithParam<uint8_t> {
  protected:
    RouteMonitorTest() { kernel.routes = {one}; }
    [[nodiscard]] RouteMessage messageOf(const Route4& route, uint16_t type = RTM_NEWROUTE, uint16_t flags = 0) const {
        return hostd::messageOf(route, type, flags, GetParam());
    }
    /// Works until nothing is due, without time passing.
    void work() {
        for (int slices = 0; slices < 1000; ++slices) {
            monitor->drain(now, SIZE_MAX);
            if (monitor->due() > now) return;
            monitor->work(now);
        }
        FAIL() << "listed again and again";
    }
    void open() {
        ASSERT_TRUE(monitor->open(now));
        work();
        ASSERT_EQ(monitor->due(), kNever);
        kernel.requests.clear();
    }
    void wait(Time time) {
        now += time;
        work();
    }
    [[nodiscard]] auto listings() const { return std::ranges::count(kernel.requests, RTM_GETROUTE); }
    template <class Message>
    void notify(const Message& message) {
        kernel.notify(message.message());
        monitor->drain(now, SIZE_MAX);
    }
    void notifyLink(int index, unsigned flags, uint16_t type = RTM_NEWLINK, unsigned char family = AF_UNSPEC) {
        notify(LinkMessage(index, "x", flags, ARPHRD_ETHER, type, family));
    }
    void replaceUnknown(const Route4& route) {
        kernel.routes.push_back(route);
        notify(messageOf(route, RTM_NEWROUTE, NLM_F_REPLACE));
    }
    void notifyGoneAddress(uint32_t link) { notify(NetlinkMessage<ifaddrmsg>(RTM_DELADDR, {AF_INET, 24, 0, 0, link})); }
    std::vector<std::string> rows() { return monitor->rows(); }
    /// Its age in ms, - before the first listing; then its problem.
    [[nodiscard]] std::string state() const {
        const ReadingState current = monitor->readingState(now);
        return (current.age ? std::to_string(current.age->count()) : "-") + " " + current.problem;
    }

    const Route4 one = routeTo("10.1.0.0/16", {via("10.0.0.1", 3)});
    const Route4 two = routeTo("10.2.0.0/16", {via("10.0.0.1", 4)});
    Time now{5000};
    RouteKernel kernel{GetParam()};
    const std::unique_ptr<AnyMonitor> monitor = AnyMonitor::of(kernel);
};
INSTANTIATE_TEST_SUITE_P(Families, RouteMonitorTest, ::testing::Values(AF_INET, AF_INET6));

}  // namespace

TEST_P(RouteMonitorTest, ARefusedSocketIsRetriedEverySecondAndLoggedOnce) {
    kernel.noticesError = EMFILE;
    EXPECT_THAT(logged([&] { EXPECT_FALSE(monitor->open(now)); }), HasSubstr("routes: no netlink socket: Too many"));
    const auto drain = [&] {
        for (int tries = 0; tries <= 10; ++tries, now += 100ms) monitor->drain(now, 1);
    };
    EXPECT_THAT(logged(drain), IsEmpty());
    EXPECT_EQ(kernel.opened, 2);
    kernel.noticesError = 0;
    wait(kInterval);
    EXPECT_EQ(rows().size(), 1U);
}

TEST_P(RouteMonitorTest, AFailedListingLeavesTheTableAndIsRepeatedAfterASecond) {
    open();
    const std::pair<const char*, std::function<void(bool fails)>> failures[] = {
        {"no socket", [&](bool fails) { kernel.openError = fails ? EMFILE : 0; }},
        {"nexthops aren't listed", [&](bool fails) { kernel.refused = fails ? RTM_GETNEXTHOP : 0; }},
        {"routes aren't listed", [&](bool fails) { kernel.refused = fails ? RTM_GETROUTE : 0; }},
        {"an error in place of the nexthops", [&](bool fails) { kernel.nexthopsError = fails ? ENOENT : 0; }},
        {"an error in place of the routes", [&](bool fails) { kernel.routesError = fails ? EOPNOTSUPP : 0; }},
        {"nothing comes", [&](bool fails) { kernel.isSilent = fails; }},
    };
    std::vector<Route4> others = {two};
    for (const auto& [name, fail] : failures) {
        SCOPED_TRACE(name);
        kernel.isOverrun = true;
        monitor->drain(now, SIZE_MAX);
        now += 20'000ms;
        fail(true);
        const auto before = rows();
        for (int tries = 0; tries < 2; ++tries) {
            EXPECT_THAT(logged([&] { work(); }), HasSubstr("routes: listing incomplete: "));
            EXPECT_EQ(monitor->due(), now + kInterval);
            EXPECT_EQ(rows(), before);
            EXPECT_THAT(state(), StartsWith(std::to_string(20'000 + tries * 1000) + " listing incomplete: "));
            now += kInterval;
        }
        fail(false);
        std::swap(kernel.routes, others);
        wait(0ms);
        EXPECT_EQ(rows().size(), 1U);
        EXPECT_NE(rows(), before);
        wait(20'000ms);
        EXPECT_EQ(monitor->due(), kNever);
        EXPECT_EQ(state(), "0 ");
    }
}

TEST_P(RouteMonitorTest, AnOldKernelWithoutNexthopsAndAnEmptyTableAreNoErrors) {
    kernel.routes.clear();
    kernel.nexthopsError = EOPNOTSUPP;
    kernel.routesError = ENOENT;
    EXPECT_THAT(logged([&] { open(); }), IsEmpty());
}

TEST_P(RouteMonitorTest, IsListedAnewWhenWhatRoutesUseChangesOrANotificationIsAmbiguous) {
    kernel.routes.push_back(by(7, "10.3.0.0/16"));
    open();
    const struct {
        const char* name;
        std::function<void()> change;
        bool isListed;
    } cases[] = {
        {"a link is seen for the first time", [&] { notifyLink(3, kUp); }, true},
        {"none of its states changes", [&] { notifyLink(3, kUp | IFF_PROMISC); }, false},
        {"without carrier", [&] { notifyLink(3, IFF_UP); }, true},
        {"leaves a bridge", [&] { notifyLink(3, 0, RTM_DELLINK, AF_BRIDGE); }, false},
        {"gone", [&] { notifyLink(3, 0, RTM_DELLINK); }, true},
        {"another link", [&] { notifyLink(9, kUp); }, false},
        {"its address", [&] { notifyGoneAddress(3); }, true},
        {"another's address", [&] { notifyGoneAddress(9); }, false},
        {"a nexthop that isn't used", [&] { notify(object(8, via("10.0.0.1", 3))); }, false},
        {"a route's nexthop", [&] { notify(object(7, via("10.0.0.2", 3))); }, true},
        {"a route takes the place of an unknown one", [&] { replaceUnknown(two); }, true},
    };
    for (const auto& [name, change, isListed] : cases) {
        SCOPED_TRACE(name);
        now += 100'000ms;
        kernel.requests.clear();
        change();
        EXPECT_EQ(monitor->due(), isListed ? now + kDelay : kNever);
        wait(kDelay);
        EXPECT_EQ(listings(), isListed ? 1 : 0);
    }
}

TEST_P(RouteMonitorTest, AChangeDuringAListingOfWhatNoKnownRouteUsesCausesAnotherListing) {
    const Route4 listed = routeTo("10.0.0.0/16", {via("10.0.0.1", 9)});
    const std::function<void()> changes[] = {[&] { notifyLink(9, 0); }, [&] { notifyGoneAddress(9); },
                                             [&] { notify(object(7, via("10.0.0.1", 9))); }};
    open();
    for (const auto& change : changes) {
        SCOPED_TRACE(&change - changes);
        now += 100'000ms;
        kernel.requests.clear();
        kernel.routes = {listed, one};
        // The packet with the first route has been written when that goes without a notification.
        kernel.interrupts = [&] {
            kernel.routes = {one};
            change();
        };
        notifyGoneAddress(3);
        wait(kDelay);
        EXPECT_EQ(rows().size(), 2U);
        wait(kDelay);
        EXPECT_EQ(listings(), 2);
        EXPECT_THAT(rows(), ElementsAre("10.1.0.0/16 10.0.0.1 dev 3"));
        wait(100'000ms);  // one more, since a route had gone without a notification
        EXPECT_EQ(monitor->due(), kNever);
    }
}

TEST_P(RouteMonitorTest, AListingThatMissesARouteBecauseAnotherWasRemovedIsRepeated) {
    const Route4 three = routeTo("10.3.0.0/16", {through(3)}), four = routeTo("10.4.0.0/16", {through(3)});
    kernel.routes = {one, two, three};
    kernel.interrupts = [&] {
        kernel.routes = {two, three, four};
        kernel.wasAdded = true;
        notify(messageOf(one, RTM_DELROUTE));
        notify(messageOf(four));
    };
    ASSERT_TRUE(monitor->open(now));
    work();
    const bool isRepeated = GetParam() == AF_INET6;
    EXPECT_EQ(rows().size(), isRepeated ? 2U : 3U);
    EXPECT_EQ(monitor->due(), isRepeated ? now + kDelay : kNever);
    wait(kDelay);
    EXPECT_EQ(rows().size(), 3U);
    EXPECT_EQ(monitor->due(), kNever);
}

TEST_P(RouteMonitorTest, LostNotificationsCauseTwoListingsAtMostOneASecond) {
    EXPECT_EQ(state(), "- ");
    open();
    kernel.routes = {one, two};
    kernel.isOverrun = true;
    EXPECT_THAT(logged([&] { monitor->drain(now, 1); }), HasSubstr("routes: notifications lost"));
    EXPECT_EQ(monitor->due(), Time{0});  // until the queue has been read
    work();
    EXPECT_EQ(monitor->due(), now + kInterval);
    EXPECT_EQ(listings(), 0);
    wait(kInterval);
    EXPECT_EQ(listings(), 1);
    EXPECT_EQ(rows().size(), 2U);
    EXPECT_EQ(state(), "1000 notifications lost");
    EXPECT_EQ(monitor->due(), now + kInterval);
    wait(kInterval);
    EXPECT_EQ(listings(), 2);
    EXPECT_EQ(monitor->due(), kNever);
}

TEST_P(RouteMonitorTest, RoutesStayUntilAllNotificationsFromBeforeTheListingsEndAreApplied) {
    open();
    kernel.routes.clear();
    notifyLink(3, 0);
    now += kDelay;
    for (int i = 0; i < 300; ++i) kernel.notify(messageOf(two, i % 2 == 0 ? RTM_NEWROUTE : RTM_DELROUTE).message());
    kernel.notify(messageOf(one).message());
    kernel.routes = {one};
    for (int slices = 0; !kernel.notices.empty(); ++slices) {
        ASSERT_LT(slices, 100);
        monitor->work(now);
        EXPECT_THAT(rows(), Contains("10.1.0.0/16 10.0.0.1 dev 3"));
    }
    work();
    EXPECT_EQ(rows().size(), 1U);
}

TEST_P(RouteMonitorTest, ListingsTakeATenthOfTheTimeAtMost) {
    open();
    kernel.interrupts = [&] { now += 500ms; };
    notifyLink(3, 0);
    wait(kDelay);
    const Time ended = now;
    ASSERT_EQ(listings(), 1);
    notifyLink(3, kUp);
    EXPECT_EQ(monitor->due(), ended + 5000ms);
}

namespace {

/// A kernel whose routes change at random, most of them with a notification.
class ChangingKernel : public RouteKernel {
  public:
    /// @param seed  the higher it is, the rarer are losses and changes of links
    ChangingKernel(uint8_t ofFamily, unsigned seed) : RouteKernel(ofFamily), random_(seed), rarity_(10 + seed) {}

    size_t any(size_t below) { return std::uniform_int_distribution<size_t>(0, below - 1)(random_); }

    void change() {
        any(rarity_) == 0 ? changeLink() : changeRoute();
        if (any(rarity_) != 0) return;
        isOverrun = isOverrun || !notices.empty();
        notices.clear();
    }
    void changeRoute() {
        const uint16_t flags[] = {0, 0, NLM_F_APPEND, NLM_F_REPLACE};
        const size_t kind = any(std::size(flags) + 1);
        kind < std::size(flags) ? add(flags[kind]) : remove();
    }

    /// What the rows have to be, found the slow way.
    [[nodiscard]] std::vector<std::string> rows() const {
        std::vector<RouteEntry<Ipv4>> rows;
        for (const Route4& route : routes)
            for (const NextHop& hop : route.hops) {
                if (!hop.isUsable) continue;
                const RouteEntry<Ipv4> entry(route, hop, static_cast<int32_t>(&route - routes.data()), 0);
                const auto same = std::ranges::find(rows, entry.key(), &RouteEntry<Ipv4>::key);
                if (same == rows.end())
                    rows.push_back(entry);
                else if (entry.isBetterThan(*same))
                    *same = entry;
            }
        std::ranges::sort(rows, {}, &RouteEntry<Ipv4>::key);
        std::vector<std::string> all;
        for (const RouteEntry<Ipv4>& row : rows) all.push_back(text(row));
        return all;
    }
    [[nodiscard]] bool usesLink(uint32_t link) const {
        return std::ranges::any_of(routes,
                                   [&](const Route4& r) { return std::ranges::count(r.hops, link, &NextHop::link); });
    }

  private:
    static auto id(const Route4& r) { return std::tuple(r.destination, 32 - r.length, 255 - r.tos, r.metric); }

    Route4 anyRoute() {
        const char* const prefixes[] = {"0.0.0.0/0", "10.0.0.0/8", "10.0.0.0/16", "10.0.0.0/24", "192.0.2.1/32"};
        Route4 route = routeTo(prefixes[any(std::size(prefixes))], {});
        route.metric = static_cast<uint32_t>(any(2));
        route.tos = any(8) == 0 ? 4 : 0;
        for (size_t i = any(5) == 0 ? 3 : 1; i-- > 0;)
            route.hops.push_back(via("10.0.0." + std::to_string(1 + any(3)), 1 + static_cast<uint32_t>(i)));
        if (family == AF_INET6 && any(4) == 0) route.hops = {through(1 + static_cast<uint32_t>(any(3)))};
        return route;
    }

    void add(uint16_t flags) { family == AF_INET ? add4(anyRoute(), flags) : add6(anyRoute(), flags); }

    /// IPv6: the new next hops join those of the route with gateways. A route is replaced by one of its kind, if any.
    void add6(const Route4& route, uint16_t flags) {
        const auto first = std::ranges::lower_bound(routes, id(route), {}, id);
        const auto last = std::ranges::upper_bound(routes, id(route), {}, id);
        const auto isKnown = [&](const NextHop& hop) {
            return std::any_of(first, last, [&](const Route4& one) { return std::ranges::count(one.hops, hop) > 0; });
        };
        if (std::ranges::any_of(route.hops, isKnown)) return;
        auto former = std::find_if(
            first, last, [&](const Route4& one) { return one.hops[0].hasGateway == route.hops[0].hasGateway; });
        wasAdded = true;
        if (flags == NLM_F_REPLACE && first != last) {
            if (former == last) former = first;
            notify(messageOf(*former = route, RTM_NEWROUTE, flags, family).message());
        } else if (former != last && route.hops[0].hasGateway) {
            former->hops.insert(former->hops.end(), route.hops.begin(), route.hops.end());
            notify(messageOf(*former, RTM_NEWROUTE, NLM_F_APPEND, family).message());
        } else {
            routes.insert(last, route);
            notify(messageOf(route, RTM_NEWROUTE, 0, family).message());
        }
    }

    void add4(const Route4& route, uint16_t flags) {
        const auto first = std::ranges::lower_bound(routes, id(route), {}, id);
        const auto last = std::ranges::upper_bound(routes, id(route), {}, id);
        if (std::any_of(first, last, [&](const Route4& other) { return route.hops == other.hops; })) return;
        if (flags == NLM_F_REPLACE && first == last) flags = 0;
        notify(messageOf(route, RTM_NEWROUTE, flags).message());
        if (flags == NLM_F_REPLACE)
            *first = route;
        else
            routes.insert(flags == NLM_F_APPEND ? last : first, route);
    }

    void remove() {
        if (routes.empty()) return;
        const auto gone = routes.begin() + static_cast<std::ptrdiff_t>(any(routes.size()));
        Route4 removed = *gone;
        if (family == AF_INET6 && any(2) == 0) removed.hops = {removed.hops[any(removed.hops.size())]};
        notify(messageOf(removed, RTM_DELROUTE, 0, family).message());
        std::erase_if(gone->hops, [&](const NextHop& hop) { return std::ranges::count(removed.hops, hop) > 0; });
        if (gone->hops.empty()) routes.erase(gone);
    }

    /// The link is notified, the routes that go and come with it aren't, unless they are of IPv6 and go.
    void changeLink() {
        const auto link = static_cast<uint32_t>(1 + any(3));
        for (Route4& route : routes)
            for (NextHop& hop : route.hops)
                if (hop.link == link) hop.isUsable = any(2) == 0;
        std::erase_if(routes, [this](const Route4& r) {
            const bool hasGone = std::ranges::none_of(r.hops, &NextHop::isUsable);
            if (hasGone && family == AF_INET6) notify(messageOf(r, RTM_DELROUTE, 0, family).message());
            return hasGone;
        });
        isUp_[link] = !isUp_[link];
        notify(LinkMessage(static_cast<int>(link), "x", isUp_[link] ? kUp : 0).message());
    }

    std::mt19937 random_;
    size_t rarity_;
    std::array<bool, 4> isUp_{};
};

}  // namespace

TEST_P(RouteMonitorTest, EndsUpAsTheKernelIsWhateverIsLateOrLost) {
    for (unsigned seed = 0; seed < 100; ++seed) {
        SCOPED_TRACE(seed);
        ChangingKernel changing(GetParam(), seed);
        const auto follower = AnyMonitor::of(changing);
        now = Time{1};
        ASSERT_TRUE(follower->open(now));
        for (int i = 0; i < 400; ++i) {
            changing.change();
            now += Time(static_cast<int>(changing.any(50)));
            follower->drain(now, changing.any(4));
            if (follower->due() <= now) follower->work(now);
            const bool isSettled = follower->due() == kNever && changing.notices.empty();
            if (isSettled) {
                ASSERT_EQ(follower->rows(), changing.rows()) << "step " << i;
            }
        }
        for (int i = 0; follower->due() != kNever || !changing.notices.empty(); ++i) {
            ASSERT_LT(i, 1000) << "listed again and again";
            follower->drain(now, SIZE_MAX);
            if (follower->due() == kNever) continue;
            now = std::max(now, follower->due());
            follower->work(now);
        }
        ASSERT_EQ(follower->rows(), changing.rows());
        for (const uint32_t link : {1U, 2U, 3U}) ASSERT_EQ(follower->usesLink(link), changing.usesLink(link)) << link;
    }
}

TEST(RouteFollower, RequestsReadOnePortionOfManyNotificationsEvery10Ms) {
    struct : ManualClock {
        uint64_t bootNanoseconds() override {
            time += step;
            return ManualClock::bootNanoseconds();
        }
        Time step{0};  ///< by which it goes on whenever it is read
    } clock;
    RouteKernel kernel(AF_INET);
    RouteFollower<Ipv4> follower(FirstReading::AtStart, kernel.sockets());
    follower.start();
    const auto add = [&](uint32_t count) {
        const Route4 route = routeTo("10.1.0.0/16", {through(3)});
        for (; count > 0; --count) kernel.notify(messageOf(route, RTM_NEWROUTE, 0, AF_INET).message());
    };
    const auto left = [&](Time later) {
        clock.time += later;
        for (int fetches = 0; fetches < 3; ++fetches) follower.refresh();
        return kernel.notices.size();
    };
    add(600);
    EXPECT_EQ(left(0ms), 344U);
    EXPECT_EQ(left(5ms), 344U);
    EXPECT_EQ(left(5ms), 88U);
    EXPECT_EQ(left(10ms), 0U);
    add(200);
    EXPECT_EQ(left(0ms), 0U);
    clock.step = 1ms;
    add(600);
    follower.refresh();
    EXPECT_GT(kernel.notices.size(), 400U) << "the time is over";
}

}  // namespace hostd
