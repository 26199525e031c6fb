#include "tn/subscriptions.h"

#include <algorithm>
#include <set>

#include "peers.h"
#include "temp_root.h"

namespace tn {
namespace {

constexpr uint32_t kPath[] = {24, 2};
constexpr auto kNoTimer = std::chrono::milliseconds::max();

constexpr uint32_t kNotify = 1;   // sends field 1 notifications of field 3 octets about field 2 objects
constexpr uint32_t kHistory = 2;  // what happened to its subscribers, as strings in field 1

class Owner : public Handler {
  public:
    message cmdUnknown(const message& m, uint32_t command) override {
        message reply;
        if (command == kNotify) {
            for (uint32_t i = 0; i < m.get_u32(u32_id(1)); ++i) {
                const message note = with(numbered(i), string_id(2), std::string(m.get_u32(u32_id(3)), 'x'));
                notify(kNote, with(note, field::ObjectId, i % m.get_u32(u32_id(2))));
            }
        } else if (command == kHistory) {
            reply.insert_string_array(string_array_id(1), history_);
        }
        return reply;
    }
    bool shouldNotify(const message& filter, const message& note) override {
        return !filter.has(u32_id(9)) || filter.get_u32(u32_id(9)) == note.get_u32(field::ObjectId);
    }
    void subscribed(uint32_t, const message&) override { history_.emplace_back("subscribed"); }
    void unsubscribed(uint32_t, const message&) override { history_.emplace_back("unsubscribed"); }
    void cmdDisconnected(const message& m) override {
        history_.push_back("gone " + testing::PrintToString(m.get_u32_array(field::Source)));
    }
    void notifiesSent() override { history_.emplace_back("sent"); }

  private:
    std::vector<std::string> history_;
};

void serve(Looper& looper) {
    static Owner owner;
    looper.addHandler(kPath, &owner);
}

class Subscriber : public Listener {
  public:
    void resubscribed(std::span<const uint32_t>, uint32_t) override { ++renewals; }
    int renewals = 0;
};

class SubscriptionsTest : public testing::Test {
  protected:
    SubscriptionsTest() { looper_.addHandler(1, &subscriber_); }
    message command(uint32_t number, uint32_t notes = 0, uint32_t objects = 1, uint32_t octets = 0) {
        return looper_.exchangeMessage(commandOf(number, notes, objects, octets), 20s);
    }
    static message commandOf(uint32_t number, uint32_t notes, uint32_t objects, uint32_t octets = 0) {
        return with(with(with(request(kPath, number), u32_id(1), notes), u32_id(2), objects), u32_id(3), octets);
    }
    bool receives(size_t count) {
        return eventually([&] { return subscriber_.heard.size() >= count; }, &looper_);
    }
    bool historyHas(const std::string& event) {
        const auto isThere = [&] {
            const std::vector<std::string> history = command(kHistory).get_string_array(string_array_id(1));
            return std::ranges::find(history, event) != history.end();
        };
        return eventually(isThere, &looper_);
    }

    /// Asks the owner over another connection, so that it has handled what we sent before.
    static bool otherCallerIsAnswered() {
        const Descriptor caller = dialBus(24, 1s);
        RawPeer::write(caller.get(), with(request(kPath, kHistory), field::RequestId, 1));
        return isReadable(caller.get(), 30'000);
    }

    TempRoot root_;
    Looper looper_{{34}};
    Subscriber subscriber_;
};

TEST_F(SubscriptionsTest, NotificationsArriveInOrderFilteredAndMarkedWithTheirSource) {
    const Peer owner({24}, serve);
    const message filter = with({}, u32_id(9), 1);
    subscriber_.subscribe(kPath, kNote, filter);
    EXPECT_FALSE(isError(command(kNotify, 6, 2)));
    ASSERT_TRUE(receives(3));
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(subscriber_.heard[i].get_u32(u32_id(1)), 1 + 2 * i);
        EXPECT_EQ(subscriber_.heard[i].get_u32_array(field::Source), (std::vector<uint32_t>{24, 2}));
    }
    // A second filter that lets the same notification through doesn't double it.
    subscriber_.subscribe(kPath, kNote, {});
    command(kNotify, 2, 2);
    ASSERT_TRUE(receives(5));
    subscriber_.unsubscribe(kPath, kNote, {});
    subscriber_.unsubscribe(kPath, kNote, filter);
    command(kNotify, 2, 2);
    for (int i = 0; i < 5; ++i) looper_.runOnce(1ms);
    EXPECT_EQ(subscriber_.heard.size(), 5U);
    EXPECT_EQ(subscriber_.renewals, 0);
    EXPECT_TRUE(looper_.canLeave());
}

TEST_F(SubscriptionsTest, SubscriptionIsMadeWhenTheOwnerAppearsAndAgainAfterRestartsEvenWithALateHandler) {
    subscriber_.subscribe(kPath, kNote, {});
    EXPECT_LE(looper_.sleepTime(), 100ms);
    for (int life = 0; life < 3; ++life) {
        subscriber_.heard.clear();
        const auto late = [](Looper& looper) { looper.addTimer([&looper] { serve(looper); }, 50ms); };
        Peer owner({24}, life == 2 ? Peer::Setup(late) : serve);
        ASSERT_TRUE(historyHas("subscribed"));
        EXPECT_TRUE(eventually([&] { return looper_.sleepTime() == kNoTimer; }, &looper_))
            << "still looking for an owner that is there";
        command(kNotify, 1);
        EXPECT_TRUE(receives(1));
        // The first time, too: it wasn't there.
        EXPECT_TRUE(eventually([&] { return subscriber_.renewals == life + 1; }, &looper_)) << subscriber_.renewals;
        owner.end(life == 1 ? SIGTERM : SIGKILL);
        EXPECT_TRUE(eventually([&] { return looper_.sleepTime() <= 5s; }, &looper_));
    }
}

TEST_F(SubscriptionsTest, OwnerLearnsThatASubscriberHasGone) {
    const Peer owner({24}, serve);
    {
        const Peer other({35}, [](Looper& looper) {
            static Subscriber subscriber;
            looper.addHandler(7, &subscriber);
            subscriber.subscribe(kPath, kNote, {});
        });
        ASSERT_TRUE(historyHas("subscribed"));
    }
    EXPECT_TRUE(isError(command(cmd::Disconnected))) << "it can't be forged from outside";
    EXPECT_TRUE(historyHas("gone { 35, 7 }"));
    EXPECT_TRUE(historyHas("unsubscribed"));
}

TEST_F(SubscriptionsTest, SlowSubscriberGetsTheLatestStateOfEveryObject) {
    const Peer owner({24}, serve);
    subscriber_.subscribe(kPath, kNote, {});
    // Far more than the sockets hold. First nobody reads while they are made, then an exchange does, for its reply.
    for (const bool exchanging : {false, true}) {
        subscriber_.heard.clear();
        if (exchanging) {
            EXPECT_FALSE(isError(command(kNotify, 20'000, 50)));
        } else {
            EXPECT_FALSE(isError(looper_.sendMessage(commandOf(kNotify, 20'000, 50))));
            ASSERT_TRUE(otherCallerIsAnswered());
        }
        std::set<uint32_t> latest;
        const auto hasAll = [&] {
            for (const message& note : subscriber_.heard)
                if (note.get_u32(u32_id(1)) >= 19'950) latest.insert(note.get_u32(field::ObjectId));
            return latest.size() == 50;
        };
        EXPECT_TRUE(eventually(hasAll, &looper_)) << "latest states received: " << latest.size();
        EXPECT_LT(subscriber_.heard.size(), 5'000U);
    }
    EXPECT_TRUE(historyHas("sent"));
}

TEST_F(SubscriptionsTest, SubscriberThatNeverReadsIsDroppedBeforeItExhaustsTheOwner) {
    const Peer owner({24}, serve);
    const Descriptor deaf = dialBus(24, 1s);
    RawPeer::write(deaf.get(), with(request(kPath, cmd::Subscribe), field::NotifyCommand, kNote));
    ASSERT_TRUE(historyHas("subscribed"));
    EXPECT_FALSE(isError(command(kNotify, 30'000, 30'000)));  // each about another object: nothing can be merged
    EXPECT_TRUE(historyHas("unsubscribed"));
}

TEST_F(SubscriptionsTest, RefusedSubscriptionIsReportedOnceAndNotRepeated) {
    const Peer owner({24}, [](Looper& looper) {
        struct Refusing : Handler {
            message handleCmd(const message&, uint32_t) override { return errorMsg(error::Refused, "none here"); }
        };
        static Refusing refusing;
        looper.addHandler(kPath, &refusing);
    });
    subscriber_.subscribe(kPath, kNote, {});
    EXPECT_TRUE(eventually([&] { return looper_.sleepTime() == kNoTimer; }, &looper_));
}

TEST_F(SubscriptionsTest, OversizedNotificationIsDroppedAndTheNextOneArrives) {
    const Peer owner({24}, serve);
    subscriber_.subscribe(kPath, kNote, {});
    for (const uint32_t octets : {300'000U, 200'000U}) command(kNotify, 1, 1, octets);
    ASSERT_TRUE(receives(1));
    EXPECT_EQ(subscriber_.heard[0].get_string(string_id(2)).size(), 200'000U);
}

}  // namespace
}  // namespace tn
