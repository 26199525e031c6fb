#include "bus_test.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>

#include "child.h"
#include "tn/bus.h"
#include "tn/paths.h"

namespace tn {
namespace {

TEST_F(BusTest, RequestAndReplyCrossUnchangedAndTheCallerIsNamedByTheKernel) {
    const Peer peer({24}, serve);
    message m = with(with(ask(kEcho, 7), field::CallerPid, 1), string_id(3), std::string("\0binary", 7));
    const message reply = exchange(m);
    EXPECT_EQ(reply.get_u32(u32_id(1)), 7U);
    EXPECT_EQ(reply.get_string(string_id(3)), std::string("\0binary", 7));
    EXPECT_EQ(reply.get_u32(field::CallerPid), static_cast<uint32_t>(getpid()));
    EXPECT_EQ(reply.get_u32_array(field::Source), std::vector<uint32_t>{34});
    m.insert_u32_array(field::Source, {99});
    EXPECT_EQ(client_.exchangeCmd(m, kEcho).get_u32_array(field::Source), (std::vector<uint32_t>{34, 1}));
    EXPECT_TRUE(exchange(ask(kSleep)).empty()) << "an empty reply means success and must arrive empty";

    EXPECT_EQ(getError(exchange(requestTo({24, 2, 9}, kEcho))), "below");
    EXPECT_EQ(errorOf(exchange(requestTo({24, 3}, kEcho))), error::NoSuchHandler);
    EXPECT_EQ(errorOf(exchange(ask(99))), error::NoSuchCommand);
}

TEST_F(BusTest, LargestPacketsPassAndLargerOnesAreAnErrorAtOnce) {
    const Peer peer({24}, serve);
    EXPECT_EQ(exchange(ask(kLong, kMaxPacket - 100)).get_string(string_id(1)).size(), kMaxPacket - 100);
    EXPECT_EQ(errorOf(exchange(ask(kLong, 300 * 1024))), error::TooLarge);
    EXPECT_EQ(errorOf(exchange(with(ask(kEcho), string_id(2), std::string(kMaxPacket - 200, 'x')))), 0U);
    const message large = with(ask(kEcho), string_id(2), std::string(kMaxPacket, 'x'));
    EXPECT_EQ(errorOf(exchange(large)), error::TooLarge);
    EXPECT_EQ(errorOf(looper_.sendMessage(large)), error::TooLarge);
    message deep = ask(kEcho);
    for (size_t level = 0; level < kMaxNesting; ++level) deep.insert_message(message_id(1), deep);
    EXPECT_EQ(errorOf(exchange(deep)), error::TooLarge) << "nested too deep to be a packet";
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), 0U) << "the connection is still there";
}

TEST_F(BusTest, MissingOwnerIsAnErrorAtOnceAndLoggedOnceUntilItIsStartedAgain) {
    ASSERT_TRUE(looper_.listen());
    testing::internal::CaptureStderr();
    EXPECT_LT(timeOf([&] { EXPECT_EQ(errorOf(exchange(ask(kEcho))), error::Unreachable); }), 500ms);
    EXPECT_FALSE(client_.sendCmd(ask(0), kOneWay));
    {
        const Peer peer({24}, serve);
        EXPECT_EQ(errorOf(exchange(ask(kEcho))), 0U);
        EXPECT_EQ(std::filesystem::status(busFolder() + "/24").permissions(), std::filesystem::perms(0660));
        EXPECT_LT(timeOf([&] { EXPECT_EQ(errorOf(exchange(ask(kDie), 5000ms)), error::Unreachable); }), 1000ms);
    }  // which leaves its socket behind
    for (int i = 0; i < 3; ++i) EXPECT_EQ(errorOf(exchange(ask(kEcho))), error::Unreachable);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log;
    for (int i = 0; i < 3; ++i) {
        Peer restarted({24}, serve);
        ASSERT_TRUE(restarted.listening()) << "the socket left behind wasn't replaced";
        EXPECT_EQ(errorOf(exchange(ask(kEcho))), 0U) << "a restart since the last exchange isn't noticed";
        restarted.end(SIGTERM);
    }
    EXPECT_FALSE(std::filesystem::exists(busFolder() + "/24")) << "a process that leaves takes its socket away";
}

TEST_F(BusTest, RequestThatWasNotReadIsSentOnceMoreAndOnlyOnce) {
    int unread = 0;
    const auto leavesUnread = [&](int connection) { unread += isReadable(connection, 2000) ? 1 : 0; };
    {
        const RawPeer peer(24, {leavesUnread, RawPeer::answerNext});
        EXPECT_EQ(errorOf(exchange(ask(kEcho))), 0U);
    }
    const RawPeer peer(24, {leavesUnread, leavesUnread});
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), error::Unreachable);
    EXPECT_EQ(unread, 3);
}

TEST_F(BusTest, AfterATimeOutThePeerOwesAReplyUntilItComes) {
    std::promise<void> go;
    const RawPeer peer(24, {[&](int connection) {
                           const message first = RawPeer::read(connection);
                           usleep(100'000);  // the exchange has given up by now
                           const uint32_t stray = first.get_u32(field::RequestId) + 1000;
                           RawPeer::answer(connection, with({}, field::RequestId, stray));
                           go.get_future().wait();
                           RawPeer::answer(connection, first);
                           RawPeer::answerNext(connection);
                       }});
    EXPECT_GE(timeOf([&] { EXPECT_EQ(errorOf(client_.exchangeCmd(ask(0), kEcho, 50ms)), error::TimedOut); }), 45ms);
    for (int i = 0; i < 20; ++i) {
        EXPECT_LT(timeOf([&] { EXPECT_EQ(errorOf(exchange(ask(kEcho), 2000ms)), error::TimedOut); }), 500ms);
        looper_.runOnce(10ms);
    }
    EXPECT_TRUE(client_.late.empty()) << "a reply to another request";
    go.set_value();
    // The late reply goes to who asked, and not to the next exchange.
    EXPECT_TRUE(eventually([&] { return !client_.late.empty(); }, &looper_));
    const message reply = exchange(ask(kEcho));
    EXPECT_EQ(errorOf(reply), 0U);
    EXPECT_NE(reply.get_u32(u32_id(1)), client_.late[0]);
    EXPECT_EQ(client_.late.size(), 1U);
}

/// The machine's clock, some time ahead.
struct ClockAhead : Sources {
    uint64_t bootNanoseconds() override { return Sources::bootNanoseconds() + seconds * 1'000'000'000; }
    uint64_t seconds = 0;
};

TEST_F(BusTest, PeerThatStillOwesAReplyGetsAnotherChanceAfterAWhile) {
    ClockAhead clock;
    setSources(&clock);
    const RawPeer peer(24, {[](int connection) { RawPeer::read(connection), RawPeer::answerNext(connection); }});
    EXPECT_EQ(errorOf(exchange(ask(kEcho), 50ms)), error::TimedOut);
    clock.seconds = 29;
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), error::TimedOut);
    clock.seconds = 31;
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), 0U);
    setSources(nullptr);
}

TEST_F(BusTest, StoppedProcessCostsOneTimeOutForAllItsNumbersAndOthersNothing) {
    Peer stopped({20, 24}, serving({20, 24}));
    const Peer other({44}, serving({44}));
    for (int round = 0; round < 2; ++round) {  // in the first one, 24 is dialled after the process was stopped
        stopped.signal(SIGSTOP);
        EXPECT_EQ(errorOf(exchange(askAt(20), 100ms)), error::TimedOut);
        auto quickest = std::chrono::milliseconds::max();
        for (int i = 0; i < 40; ++i) {
            const message failing = askAt(i % 2 == 0 ? 20 : 24);
            EXPECT_LT(timeOf([&] { EXPECT_EQ(errorOf(exchange(failing, 5000ms)), error::TimedOut); }), 1000ms);
            quickest = std::min(quickest, timeOf([&] { EXPECT_EQ(errorOf(exchange(askAt(44))), 0U); }));
        }
        EXPECT_LT(quickest, 2ms);
        stopped.signal(SIGCONT);
        EXPECT_TRUE(eventually([&] { return errorOf(exchange(askAt(24))) == 0; }));
        EXPECT_EQ(errorOf(exchange(askAt(20))), 0U);
    }
    // The debt ends with the process.
    stopped.signal(SIGSTOP);
    EXPECT_EQ(errorOf(exchange(askAt(20), 100ms)), error::TimedOut);
    stopped.end(SIGKILL);
    const Peer fresh({20, 24}, serving({20, 24}));
    for (const uint32_t number : {24U, 20U}) EXPECT_EQ(errorOf(exchange(askAt(number))), 0U);
}

TEST_F(BusTest, ExchangesOfOneBudgetShareItFromTheFirstOneOn) {
    const Peer alive({44}, serving({44}));
    const Peer slow({24}, serve);
    const Peer hung({20}, serving({20}));
    hung.signal(SIGSTOP);
    {
        const ExchangeBudget budget(looper_, 600ms);
        usleep(700'000);  // not begun yet
        const auto took = timeOf([&] {
            EXPECT_EQ(errorOf(exchange(ask(kSleep, 300), 5000ms)), 0U);
            EXPECT_EQ(errorOf(exchange(askAt(20), 5000ms)), error::TimedOut);
        });
        EXPECT_LT(took, 2s);
        EXPECT_EQ(getError(exchange(askAt(44))), "bus: 44: not queried, the request's time is used up");
        EXPECT_EQ(errorOf(exchange(request(client_.path(), kNote))), 0U) << "handlers of this process aren't exchanges";
    }
    EXPECT_EQ(errorOf(exchange(ask(kSleep, 700), 5000ms)), 0U);
}

TEST_F(BusTest, StraysNeitherDelayTheTimeOutNorGetLostOrReordered) {
    const RawPeer peer(24, {[&](int connection) {
                           const message asked = RawPeer::read(connection);
                           for (uint32_t i = 0; i < 100; ++i) RawPeer::write(connection, noteFrom({24, 2}, i));
                           RawPeer::answer(connection, asked);
                           RawPeer::read(connection);
                           // Never answers, but never stops talking.
                           for (uint32_t i = 100; i < 300 && !isReadable(connection, 1); ++i)
                               RawPeer::write(connection, noteFrom({24, 2}, i));
                       }});
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), 0U);
    EXPECT_TRUE(client_.heard.empty()) << "kept for the loop";
    EXPECT_LT(timeOf([&] { EXPECT_EQ(errorOf(exchange(ask(kEcho), 100ms)), error::TimedOut); }), 400ms);
    EXPECT_TRUE(eventually([&] { return client_.heard.size() >= 150; }, &looper_));
    for (uint32_t i = 0; i < client_.heard.size(); ++i) ASSERT_EQ(client_.heard[i].get_u32(u32_id(1)), i);
}

TEST_F(BusTest, MessagesUnderAnothersNameAndBadPacketsEndTheConnection) {
    const std::string rubbish(100, '\xff');
    const RawPeer peer(24, {[&](int connection) {
                                RawPeer::write(connection, noteFrom({20, 0}, 1));
                                RawPeer::answerNext(connection);
                                RawPeer::waitForEnd(connection);
                            },
                            [&](int connection) {
                                RawPeer::read(connection);
                                send(connection, rubbish.data(), rubbish.size(), MSG_NOSIGNAL);
                                RawPeer::waitForEnd(connection);
                            }});
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), 0U);
    for (int i = 0; i < 5; ++i) looper_.runOnce(1ms);
    EXPECT_TRUE(client_.heard.empty());
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), error::Unreachable);
}

TEST_F(BusTest, RepliesAreAcceptedOnlyFromPeersThatWeDialled) {
    ASSERT_TRUE(looper_.listen());
    const Descriptor stranger = dialBus(34, 1s);
    RawPeer::write(
        stranger.get(),
        std::vector{with(with(numbered(1), field::ReplyTo, 1), field::Destination, client_.path()), noteFrom({77}, 1)});
    EXPECT_TRUE(eventually([&] { return isReadable(stranger.get(), 0); }, &looper_));
    char byte = 0;
    EXPECT_EQ(recv(stranger.get(), &byte, 1, MSG_DONTWAIT), 0);
    EXPECT_TRUE(client_.late.empty());
    EXPECT_TRUE(client_.heard.empty()) << "the rest of the packet";
}

TEST_F(BusTest, PeerThatDoesNotReadBlocksTheCallerForOneTimeoutUntilItReadsAgain) {
    std::promise<void> done;
    const RawPeer peer(24, {[&](int connection) {
                           done.get_future().wait();
                           for (int answers = 0; answers < 2;) {
                               if (!isReadable(connection, 2000)) return;
                               const message m = RawPeer::read(connection);
                               if (!m.has(field::RequestId)) continue;
                               RawPeer::answer(connection, m);
                               if (++answers == 1) usleep(300'000);
                           }
                       }});
    const message large = with(ask(kEcho), string_id(2), std::string(200'000, 'x'));
    bool full = false;
    for (int i = 0; i < 200 && !full; ++i) full = isError(looper_.sendMessage(large));
    EXPECT_TRUE(full) << "what waits for a peer that doesn't read must be bounded";
    EXPECT_LT(timeOf([&] { EXPECT_EQ(errorOf(exchange(large, 100ms)), error::TimedOut); }), 400ms);
    EXPECT_LT(timeOf([&] { EXPECT_EQ(errorOf(exchange(large, 5000ms)), error::TimedOut); }), 400ms);
    done.set_value();
    EXPECT_TRUE(eventually([&] { return errorOf(exchange(ask(kEcho), 5000ms)) == 0; }, &looper_));
    // It doesn't read for a while again: this time that is waited for.
    for (int i = 0; i < 5; ++i) EXPECT_FALSE(isError(looper_.sendMessage(large)));
    EXPECT_EQ(errorOf(exchange(large, 5000ms)), 0U);
}

TEST_F(BusTest, HandlerMayExchangeWhileItsOwnRequestIsServed) {
    const Peer other({20}, serving({20}));
    const Peer peer({24}, serve);
    const auto askOther = [&](std::vector<uint32_t> path) {
        return exchange(with(ask(kAskOther), u32_array_id(2), std::move(path)));
    };
    EXPECT_EQ(askOther({20, 2}).get_u32_array(field::Source), (std::vector<uint32_t>{24, 2}));
    EXPECT_EQ(errorOf(askOther({99})), error::Unreachable)
        << "the error of the inner exchange reaches the outer caller";
}

TEST_F(BusTest, ServerOutlivesRubbishFloodsAndCallersThatDoNotRead) {
    const Peer peer({24}, serve);
    std::vector<Descriptor> crowd;
    const flat_message wanted = with(ask(kLong, 200'000), field::RequestId, 1).flatten();
    for (int i = 0; i < 60; ++i) {
        Descriptor caller = dialBus(24, 1s);
        ASSERT_TRUE(caller);
        if (i % 3 == 0) {
            std::vector<uint8_t> rubbish(static_cast<size_t>(i) * 1000 + 1, static_cast<uint8_t>(i));
            send(caller.get(), rubbish.data(), rubbish.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        } else if (i % 3 == 1) {
            while (send(caller.get(), wanted.data(), wanted.size(), MSG_NOSIGNAL | MSG_DONTWAIT) > 0) continue;
        }
        crowd.push_back(std::move(caller));
    }
    for (int i = 0; i < 20; ++i) EXPECT_EQ(errorOf(exchange(ask(kEcho), 3000ms)), 0U);
    char byte = 0;
    EXPECT_EQ(recv(crowd[0].get(), &byte, 1, 0), 0) << "rubbish ends the connection";
    std::vector<uint8_t> reply(kMaxPacket);
    for (int i = 0; i < 60; ++i)  // more than is queued for it: the rest of its requests waits unread
        ASSERT_GT(recv(crowd[1].get(), reply.data(), reply.size(), 0), 200'000) << i;
    crowd.clear();
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), 0U);
}

TEST_F(BusTest, MoreConnectionsThanAllowedAreRefusedNotServedBadly) {
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), error::Unreachable);
    const Peer peer({24}, serve);
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), 0U);
    std::vector<Descriptor> crowd;
    for (int i = 0; i < 600; ++i) crowd.push_back(dialBus(24, 1s));
    EXPECT_EQ(errorOf(exchange(ask(kEcho), 3000ms)), 0U) << "who was there before isn't pushed out";
    EXPECT_TRUE(isReadable(crowd.back().get(), 5000)) << "the last one wasn't closed";
    crowd.clear();
    EXPECT_TRUE(eventually([&] { return errorOf(exchange(ask(kEcho))) == 0; }));
}

/// What other users may do with the peer {24}, whose sockets belong to kGroup.
class BusRightsTest : public BusTest {
  protected:
    static constexpr gid_t kGroup = 54321;
    static constexpr gid_t kOther = 65534;

    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs to become other users";
        peer_ = std::make_unique<Peer>(std::vector<uint32_t>{24}, serve, [] { ASSERT_EQ(setegid(kGroup), 0); });
        // So that strangers can connect and only rights stop them.
        for (const std::string& folder : {root_.folder(), busFolder()}) ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
        ASSERT_EQ(chmod((busFolder() + "/24").c_str(), 0666), 0);
    }
    /// Runs `work` as another user. @return its result, below 255
    static int as(gid_t group, std::vector<gid_t> others, const std::function<int(Looper&)>& work) {
        Child child([&] {
            if (setgroups(others.size(), others.data()) != 0 || setgid(group) != 0 || setuid(65534) != 0) return 255;
            Looper stranger({});
            return work(stranger);
        });
        return child.exitStatus();
    }

    std::unique_ptr<Peer> peer_;
};

TEST_F(BusRightsTest, RightsFollowTheCallersUserAndGroup) {
    const auto errorFor = [](gid_t group, std::vector<gid_t> others, uint32_t command) {
        return as(group, std::move(others), [&](Looper& stranger) {
            return static_cast<int>(errorOf(stranger.exchangeMessage(ask(command), 1s)) & 0x7f);
        });
    };
    constexpr int kNotPermitted = error::NotPermitted & 0x7f;
    for (const uint32_t command : {kEcho, cmd::Subscribe}) EXPECT_EQ(errorFor(kOther, {}, command), kNotPermitted);
    EXPECT_EQ(errorFor(kGroup, {}, kEcho), 0);
    EXPECT_EQ(errorFor(kOther, {kGroup}, kEcho), 0);
    EXPECT_EQ(errorFor(kOther, {kGroup}, kOneWay), kNotPermitted) << "members of the group may only read";
}

TEST_F(BusRightsTest, ReadersCannotFillTheTableOfConnectionsAndTheirPlacesAreFreedAgain) {
    const auto works = [](Looper& looper) { return errorOf(looper.exchangeMessage(ask(kEcho), 1s)) == 0; };
    const int status = as(kGroup, {}, [&](Looper& reader) {
        for (int round = 0; round < 2; ++round) {
            std::vector<Descriptor> crowd;
            for (int i = 0; i < 100; ++i) crowd.push_back(dialBus(24, 1s));
            if (works(reader)) return 1;
            crowd.clear();
            if (!eventually([&] { return works(reader); })) return 2;
            reader.bus().connections().lose(reader.bus().connections().find(24));
        }
        return 0;
    });
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(works(looper_));
}

TEST_F(BusRightsTest, ReadersHaveABoundedShareOfSubscriptions) {
    // How many of 50 subscriptions with a filter of this size are accepted; then repeats the first.
    const auto accepted = [](Looper& looper, size_t octets) {
        int count = 0;
        for (uint32_t i = 0; i <= 50; ++i) {
            const message m =
                with(ask(cmd::Subscribe), field::NotifyFilter, with({}, string_id(1), std::string(octets, 'x')));
            count += isError(looper.exchangeMessage(with(m, field::NotifyCommand, i % 50), 1s)) ? 0 : 1;
        }
        return count;
    };
    for (const auto& each : {std::pair<size_t, int>(10, 32 + 1), {4000, 4 + 1}, {20'000, 0}})
        EXPECT_EQ(as(kGroup, {}, [&](Looper& reader) { return accepted(reader, each.first); }), each.second);
    EXPECT_EQ(accepted(looper_, 20'000), 51) << "who may do everything may do this";
}

}  // namespace
}  // namespace tn
