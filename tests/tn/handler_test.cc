#include "tn/handler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "eventually.h"
#include "listener.h"
#include "temp_root.h"
#include "tn/looper.h"

namespace tn {
namespace {

class Recorder : public Handler {
  public:
    message cmdSet(const message&) override { return {}; }
    message cmdUnknown(const message&, uint32_t command) override { return numbered(command); }
    message getObject(uint32_t) override { return {}; }
    void loadPermData() override { ++loads; }
    void savePermData() override { ++saves; }
    void subscribed(uint32_t notification, const message&) override { subscriptions.push_back(notification); }
    void unsubscribed(uint32_t notification, const message&) override {
        subscriptions.erase(std::ranges::find(subscriptions, notification));
    }
    void notifiesSent() override { ++sent; }

    int loads = 0;
    int saves = 0;
    int sent = 0;
    std::vector<uint32_t> subscriptions;
};

class HandlerTest : public testing::Test {
  protected:
    HandlerTest() { looper_.addHandler(kPath, &recorder_); }
    message ask(uint32_t command, uint32_t rights = right::All) {
        return looper_.dispatchMessage(request(kPath, command), rights);
    }
    void settle() {
        for (int i = 0; i < 10; ++i) looper_.runOnce({});
    }

    static constexpr uint32_t kPath[] = {24, 2};
    TempRoot root_;
    Looper looper_{{24}};
    Recorder recorder_;
};

TEST_F(HandlerTest, PathWithoutAHandlerIsAnError) {
    for (const std::vector<uint32_t>& path : {std::vector<uint32_t>{24, 2, 1}, {24, 77}, {}})
        EXPECT_EQ(errorOf(looper_.exchangeMessage(request(path, cmd::Get))), error::NoSuchHandler);
    EXPECT_FALSE(recorder_.sendCmd(requestTo({24, 77}, 0), 3));
    EXPECT_TRUE(recorder_.sendCmd(request(kPath, 0), 3));
}

TEST_F(HandlerTest, PolicyNamesTheRightsOfWhichOneIsNeeded) {
    // Without a policy: reading needs Read or Write, the rest Write. An owner may set other rights for any command.
    recorder_.policySet().add_policy(cmd::GetAll, right::Write);
    recorder_.policySet().add_policy(1, right::Monitor | right::Write);
    const std::tuple<uint32_t, uint32_t, bool> cases[] = {
        {cmd::Get, right::Reading, true},  {cmd::Get, right::Monitor, false},   {cmd::Get, 0, false},
        {cmd::Set, right::Reading, false}, {cmd::Set, right::Write, true},      {kNote, right::Reading, false},
        {1, right::Reading, true},         {cmd::GetAll, right::Reading, false}};
    for (const auto& [command, rights, isPermitted] : cases)
        EXPECT_EQ(errorOf(ask(command, rights)), isPermitted ? 0 : error::NotPermitted) << command << " " << rights;
    EXPECT_EQ(ask(cmd::GetPolicies).get_u32(u32_id(cmd::GetAll)), right::Write);

    // Rights are checked before a path below a handler is looked at.
    EXPECT_EQ(errorOf(looper_.dispatchMessage(requestTo({24, 2, 3}, cmd::Set), right::Reading)), error::NotPermitted);
}

TEST_F(HandlerTest, NotificationsComeFromTheLoopWithTheirSource) {
    Listener listener;
    looper_.addHandler(3, &listener);
    for (const uint32_t command : {kNote, cmd::Changed}) listener.subscribe(kPath, command, {});
    recorder_.notify(kNote, numbered(2));
    for (const uint32_t id : {kNoId, 5U}) recorder_.notifyChange(id, {});
    EXPECT_TRUE(listener.heard.empty()) << "a notification ran inside the notifier";
    settle();
    ASSERT_EQ(listener.heard.size(), 3U);
    EXPECT_EQ(listener.heard[0].get_u32_array(field::Source), recorder_.path());
    EXPECT_FALSE(listener.heard[1].has(field::ObjectId));
    EXPECT_EQ(listener.heard[2].get_u32(field::ObjectId), 5U);
    EXPECT_EQ(recorder_.sent, 1);
    listener.unsubscribe(kPath, cmd::Changed, {});
    EXPECT_EQ(recorder_.subscriptions, (std::vector<uint32_t>{kNote}));
}

TEST_F(HandlerTest, SubscribersOfOneHandlerAreBounded) {
    for (uint32_t n = 0; n <= 4096; ++n) {
        const message subscribe = with(request(kPath, cmd::Subscribe), field::NotifyCommand, n);
        ASSERT_EQ(errorOf(looper_.exchangeMessage(subscribe)), n < 4096 ? 0 : error::Refused) << n;
    }
}

TEST_F(HandlerTest, SubscriptionWaitsForAHandlerThatComesLater) {
    Listener listener;
    looper_.addHandler(3, &listener);
    const uint32_t later[] = {20, 0};
    listener.subscribe(later, kNote, {});
    Recorder owner;
    looper_.addHandler(later, &owner);
    EXPECT_EQ(owner.subscriptions.size(), 1U);
    EXPECT_FALSE(looper_.canLeave());
    EXPECT_EQ(looper_.sleepTime(), std::chrono::milliseconds::max()) << "still looking for an owner that is there";
    looper_.setupLeave(1ms);
    EXPECT_TRUE(eventually([&] { return looper_.sleepTime() == std::chrono::milliseconds::max(); }, &looper_))
        << "a process that can't leave wakes up to look again";
}

TEST_F(HandlerTest, DestroyedHandlerIsForgottenEverywhere) {
    {
        Listener listener;
        Recorder owner;
        looper_.addHandler(3, &listener);
        looper_.addHandler(4, &owner);
        listener.subscribe(owner.path(), kNote, {});
        owner.notify(kNote, {});
    }
    settle();
    EXPECT_TRUE(looper_.canLeave());
}

TEST_F(HandlerTest, RunLoadsAndSavesEachHandlerOnce) {
    EXPECT_EQ(recorder_.loads, 1);
    looper_.defer([&] { ask(cmd::Get); });
    looper_.defer([&] { looper_.exchangeMessage(request(looper_.path(), cmd::Shutdown)); });
    EXPECT_EQ(looper_.run(), 0);
    EXPECT_EQ(recorder_.saves, 1);
}

}  // namespace
}  // namespace tn
