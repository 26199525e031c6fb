// A follower, against a kernel that the test determines.

#include "hostd/netlink/netlink_follower.h"

#include <gmock/gmock.h>
#include <linux/rtnetlink.h>

#include "tests/hostd/ask.h"
#include "tests/hostd/logged.h"
#include "tests/hostd/manual_clock.h"
#include "tests/hostd/netlink/scripted_kernel.h"
#include "tn/looper.h"

namespace hostd {

namespace {

using ::testing::HasSubstr;

constexpr size_t kMany = 256;  // packets

/// A kernel that lists two things, and can be interrupted by a change.
class ListingKernel : public ScriptedKernel {
  public:
    void begin(uint16_t) override { ++listings; }
    Packet nextPacket() override {
        const MessageOctets thing = octetsOf(NetlinkMessage<rtmsg>(RTM_NEWLINK, {}).message());
        return {thing, thing, end};
    }
    int listings = 0;
    MessageOctets end = done();
};

struct CountingTable : FollowedTable {
    void apply(const nlmsghdr&, std::chrono::milliseconds) override { ++applied; }
    void beginListing() override { applied = 0; }
    void endListing(bool isWhole) override { (isWhole ? whole : interrupted) += 1; }
    int applied = 0, whole = 0, interrupted = 0;
};

class NetlinkFollowerTest : public ::testing::Test {
  protected:
    void notify() { kernel.notify(NetlinkMessage<rtmsg>(RTM_NEWLINK, {}).message()); }

    /// Its age in ms, - before the first listing; then its problem.
    [[nodiscard]] std::string state() const {
        const ReadingState now = follower.readingState(clock.time);
        EXPECT_EQ(now.name, "things");
        return (now.age ? std::to_string(now.age->count()) : "-") + " " + now.problem;
    }

    ManualClock clock;
    ListingKernel kernel;
    CountingTable table;
    NetlinkFollower follower{{"things", 0,
                              [](NetlinkRequests& requests) {
                                  requests.add<rtmsg>(RTM_GETLINK, NLM_F_DUMP);
                                  requests.finish();
                              }},
                             table,
                             kernel.sockets()};
};

}  // namespace

TEST_F(NetlinkFollowerTest, ARefusedSocketIsRetriedEverySecondAndLoggedOnce) {
    tn::Looper looper({});
    for (int* refused : {&kernel.noticesError, &kernel.openError}) {
        *refused = EMFILE;
        const int before = kernel.opened;
        const std::string text = logged([&] {
            follower.start();
            ASSERT_TRUE(eventually([&] { return kernel.opened >= before + 2; }, &looper));
        });
        EXPECT_THAT(text, HasSubstr("things: no netlink socket: Too many open files"));
        EXPECT_EQ(text.find("no netlink"), text.rfind("no netlink"));
        EXPECT_FALSE(follower.isOpen());
        EXPECT_THAT(state(), HasSubstr("no netlink socket"));
        *refused = 0;
        ASSERT_TRUE(eventually([&] { return follower.isOpen(); }, &looper));
        EXPECT_EQ(table.applied, 2);
    }
}

TEST_F(NetlinkFollowerTest, AListingThatIsNeverWholeIsRepeatedEverySecondAndLeavesTheTable) {
    NetlinkMessage<rtmsg> error(NLMSG_ERROR, {});
    error.raw()->nlmsg_len = NLMSG_HDRLEN;
    const MessageOctets cut = octetsOf(error.message());
    const std::pair<const char*, std::function<void(bool)>> failures[] = {
        {"interrupted", [&](bool fails) { kernel.end = ScriptedKernel::done(fails ? NLM_F_DUMP_INTR : 0); }},
        {"error", [&](bool fails) { kernel.end = fails ? ScriptedKernel::error(EBUSY) : ScriptedKernel::done(); }},
        {"error without a code", [&](bool fails) { kernel.end = fails ? cut : ScriptedKernel::done(); }},
        {"not accepted", [&](bool fails) { kernel.refused = fails ? RTM_GETLINK : 0; }},
        {"silence", [&](bool fails) { kernel.isSilent = fails; }},
    };
    for (const auto& [name, fail] : failures) {
        SCOPED_TRACE(name);
        fail(true);
        table = {};
        EXPECT_THAT(logged([&] { follower.start(); }), HasSubstr("things: listing incomplete"));
        EXPECT_EQ(table.interrupted, 3);
        for (const auto& [wait, interrupted] : {std::pair(NetlinkFollower::kInterval - 1ms, 3), {1ms, 4}}) {
            clock.time += wait;
            EXPECT_FALSE(follower.catchUp(kMany));
            EXPECT_EQ(table.interrupted, interrupted);
        }
        fail(false);
        EXPECT_FALSE(follower.catchUp(kMany));
        EXPECT_EQ(table.whole, 0);
        clock.time += NetlinkFollower::kInterval;
        for (int requests = 0; requests < 2; ++requests) EXPECT_TRUE(follower.catchUp(kMany));
        EXPECT_EQ(table.whole, 1);
        EXPECT_EQ(state(), "0 ");
    }
}

TEST_F(NetlinkFollowerTest, ListsAtTheStartAndAfterLostNotificationsAtMostEverySecond) {
    tn::Looper looper({});
    EXPECT_TRUE(follower.catchUp(kMany));  // nothing is read before
    EXPECT_EQ(kernel.opened, 0);
    EXPECT_EQ(state(), "- ");
    follower.start();
    for (int i = 0; i < 3; ++i) notify();
    EXPECT_FALSE(follower.catchUp(3));  // more may be queued
    EXPECT_TRUE(follower.catchUp(kMany));
    EXPECT_EQ(table.applied, 5);
    clock.time += 300ms;
    for (const bool isLogged : {true, false}) {
        kernel.isOverrun = true;
        const std::string text = logged([&] { EXPECT_FALSE(follower.catchUp(kMany)); });
        EXPECT_EQ(text.find("things: notifications lost") != std::string::npos, isLogged);
    }
    EXPECT_EQ(kernel.listings, 1);
    clock.time += NetlinkFollower::kInterval;
    EXPECT_EQ(state(), "1000 listing incomplete");
    for (int i = 0; i < 10; ++i) notify();
    EXPECT_FALSE(follower.catchUp(10));  // first what is queued: it is older than the listing
    EXPECT_EQ(kernel.listings, 1);
    EXPECT_TRUE(follower.catchUp(kMany));
    EXPECT_EQ(kernel.listings, 2);
    EXPECT_EQ(table.applied, 2);

    kernel.isOverrun = true;
    EXPECT_FALSE(follower.catchUp(kMany));
    clock.time += NetlinkFollower::kInterval;  // the loop then lists without a request
    EXPECT_TRUE(eventually([&] { return kernel.listings == 3; }, &looper));
}

TEST_F(NetlinkFollowerTest, RequestsReadOnePortionOfManyNotificationsEvery10Ms) {
    follower.start();
    for (int i = 0; i < 600; ++i) notify();
    for (const int read : {256, 512, 600}) {
        for (int fetches = 0; fetches < 3; ++fetches) follower.refresh();
        EXPECT_EQ(table.applied, 2 + read);
        clock.time += NetlinkFollower::kPause;
    }
    notify();
    follower.refresh();
    EXPECT_EQ(table.applied, 603) << "nothing was left queued";
}

}  // namespace hostd
