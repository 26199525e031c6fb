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
using ::testing::IsEmpty;
using ::testing::Not;

/// A kernel that lists two things, and can be interrupted by a change.
class ListingKernel : public ScriptedKernel {
  public:
    void begin(uint16_t) override { ++listings; }
    Packet nextPacket() override {
        const MessageOctets thing = octetsOf(NetlinkMessage<rtmsg>(RTM_NEWLINK, {}).message());
        return {thing, thing, listingError == 0 ? done(endFlags) : error(listingError)};
    }
    int listings = 0;
    int listingError = 0;
    uint16_t endFlags = 0;  ///< of the last message
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
    void lose() { kernel.isOverrun = true; }

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

TEST_F(NetlinkFollowerTest, ListsAtTheStartAndThenAppliesNotifications) {
    EXPECT_TRUE(follower.catchUp());  // nothing is read before
    EXPECT_EQ(kernel.opened, 0);
    follower.start();
    EXPECT_EQ(table.applied, 2);
    for (int i = 0; i < 3; ++i) notify();
    EXPECT_FALSE(follower.catchUp(3));  // more may be queued
    EXPECT_TRUE(follower.catchUp());
    EXPECT_EQ(table.applied, 5);
    EXPECT_EQ(kernel.listings, 1);
}

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
        *refused = 0;
        ASSERT_TRUE(eventually([&] { return follower.isOpen(); }, &looper));
        EXPECT_EQ(table.applied, 2);
    }
}

TEST_F(NetlinkFollowerTest, AListingThatIsNeverWholeIsRepeatedEverySecondAndLeavesTheTable) {
    const std::pair<const char*, std::function<void(bool)>> failures[] = {
        {"interrupted", [&](bool fails) { kernel.endFlags = fails ? NLM_F_DUMP_INTR : 0; }},
        {"error", [&](bool fails) { kernel.listingError = fails ? EBUSY : 0; }},
        {"not accepted", [&](bool fails) { kernel.refused = fails ? RTM_GETLINK : 0; }},
        {"silence", [&](bool fails) { kernel.isSilent = fails; }},
    };
    for (const auto& [name, fail] : failures) {
        SCOPED_TRACE(name);
        fail(true);
        table = {};
        EXPECT_THAT(logged([&] { follower.start(); }), HasSubstr("things: listing incomplete"));
        EXPECT_EQ(table.interrupted, 3);
        clock.time += NetlinkFollower::kInterval - 1ms;
        EXPECT_FALSE(follower.catchUp());
        EXPECT_EQ(table.interrupted, 3);
        clock.time += 1ms;
        EXPECT_FALSE(follower.catchUp());
        EXPECT_EQ(table.interrupted, 4);
        EXPECT_EQ(table.whole, 0);
        fail(false);
        EXPECT_FALSE(follower.catchUp());
        clock.time += NetlinkFollower::kInterval;
        EXPECT_TRUE(follower.catchUp());
        EXPECT_EQ(table.whole, 1);
        EXPECT_TRUE(follower.catchUp());
        EXPECT_EQ(table.whole, 1);
    }
}

TEST_F(NetlinkFollowerTest, LostNotificationsCauseOneListingAtMostEverySecond) {
    follower.start();
    lose();
    EXPECT_THAT(logged([&] { EXPECT_FALSE(follower.catchUp()); }), HasSubstr("things: notifications lost"));
    lose();
    EXPECT_THAT(logged([&] { EXPECT_FALSE(follower.catchUp()); }), Not(HasSubstr("lost")));
    EXPECT_EQ(kernel.listings, 1);
    clock.time += NetlinkFollower::kInterval;
    for (int i = 0; i < 10; ++i) notify();
    EXPECT_FALSE(follower.catchUp(10));  // first what is queued: it is older than the listing
    EXPECT_EQ(kernel.listings, 1);
    EXPECT_TRUE(follower.catchUp());
    EXPECT_EQ(kernel.listings, 2);
    EXPECT_EQ(table.applied, 2);
}

TEST_F(NetlinkFollowerTest, TheLoopListsAnewWithoutARequest) {
    tn::Looper looper({});
    follower.start();
    lose();
    EXPECT_FALSE(follower.catchUp());
    clock.time += NetlinkFollower::kInterval;
    EXPECT_TRUE(eventually([&] { return kernel.listings == 2; }, &looper));
}

}  // namespace hostd
