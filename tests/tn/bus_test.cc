#include "tn/bus.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <future>
#include <list>
#include <memory>

#include "child.h"
#include "echo_server.h"
#include "peers.h"
#include "tn/paths.h"
#include "tn/sources.h"

namespace tn {
namespace {

std::chrono::milliseconds timeOf(const std::function<void()>& work) {
    const std::chrono::milliseconds start = sinceBoot();
    work();
    return sinceBoot() - start;
}

/// A notification for {34, 1}.
message noteFrom(std::vector<uint32_t> source, uint32_t n) {
    return with(with(requestTo({34, 1}, kNote), field::Source, std::move(source)), u32_id(1), n);
}

/// Serves {N, 2} for each of these numbers.
Peer::Setup serving(std::vector<uint32_t> numbers) {
    return [numbers = std::move(numbers)](Looper& looper) {
        static std::list<Server> servers;
        for (const uint32_t n : numbers) looper.addHandler(std::vector<uint32_t>{n, 2}, &servers.emplace_back());
    };
}

message askAt(uint32_t number) { return requestTo({number, 2}, kEcho); }

class BusTest : public ClientTest {
  protected:
    BusTest() { setRoot(root_.folder() + "/" + std::string(120, 'r')); }  // longer than an address of a socket
};

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

/// Error codes of the replies to a burst of echo requests; for a reply that isn't an error, whether it is the right
/// one.
std::vector<uint32_t> burst(Looper& looper, uint32_t count, size_t octets = 0) {
    std::vector<message> requests;
    for (uint32_t i = 0; i < count; ++i)
        requests.push_back(with(ask(kEcho, i), string_id(2), std::string(octets, 'x')));
    std::vector<uint32_t> codes;
    const std::vector<message> replies = looper.exchangeMessages(requests, 500ms);
    for (uint32_t i = 0; i < replies.size(); ++i) {
        const bool isRight =
            isError(replies[i]) || (replies[i].get_u32(u32_id(1)) == i && !replies[i].has(field::ReplyTo));
        codes.push_back(isRight ? errorOf(replies[i]) : 1);
    }
    return codes;
}

TEST_F(BusTest, RequestsOfABurstAreSentBeforeTheFirstReplyAndEachGetsItsOwn) {
    const auto answersBackward = [](int connection) {
        std::vector<message> read;
        for (int i = 0; i < 3; ++i) read.push_back(RawPeer::read(connection));
        RawPeer::write(connection, with(numbered(9), field::ReplyTo, read[0].get_u32(field::RequestId) + 100));
        for (uint32_t i = 3; i-- > 0;)
            for (int twice = 0; twice < 2; ++twice)
                RawPeer::write(connection, with(numbered(i), field::ReplyTo, read[i].get_u32(field::RequestId)));
    };
    {
        const RawPeer peer(24, {answersBackward});
        EXPECT_THAT(burst(looper_, 3), ElementsAre(0, 0, 0));
    }
    const Peer peer({24}, serve);
    EXPECT_EQ(burst(looper_, 2000, 1000), std::vector<uint32_t>(2000)) << "more than the socket has room for";
    EXPECT_THAT(burst(looper_, 2, kMaxPacket), ElementsAre(error::TooLarge, error::TooLarge));
    EXPECT_THAT(burst(looper_, 0), IsEmpty());
}

TEST_F(BusTest, ABurstEndsWithItsPeer) {
    const auto answersOneOf = [](int requests, int answered) {
        return [=](int connection) {
            for (int i = 0; i < requests; ++i) {
                const message m = RawPeer::read(connection);
                if (i == answered) RawPeer::write(connection, with(m, field::ReplyTo, m.get_u32(field::RequestId)));
            }
        };
    };
    {
        const auto leavesTheSecondUnread = [](int connection) {
            const ssize_t first = recv(connection, nullptr, 0, MSG_PEEK | MSG_TRUNC);
            int queued = 0;
            EXPECT_TRUE(eventually([&] { return ioctl(connection, FIONREAD, &queued) == 0 && queued > first; }));
            RawPeer::read(connection);
        };
        const RawPeer peer(24, {answersOneOf(3, 1), leavesTheSecondUnread, answersOneOf(1, 0)});
        EXPECT_THAT(burst(looper_, 3), ElementsAre(error::Unreachable, 0, error::Unreachable)) << "all were read";
        EXPECT_THAT(burst(looper_, 2), ElementsAre(error::Unreachable, error::Unreachable)) << "the first was read";
        EXPECT_THAT(burst(looper_, 1), ElementsAre(0));
    }
    EXPECT_THAT(burst(looper_, 2), ElementsAre(error::Unreachable, error::Unreachable)) << "no peer";
}

TEST_F(BusTest, ABurstThatHangsCostsOneTimeoutAndOwesItsLastReply) {
    std::promise<void> go;
    const RawPeer peer(24, {[&](int connection) {
                           std::vector<message> read;
                           for (int i = 0; i < 3; ++i) read.push_back(RawPeer::read(connection));
                           RawPeer::write(connection, with(read[0], field::ReplyTo, read[0].get_u32(field::RequestId)));
                           go.get_future().wait();
                           RawPeer::answer(connection, read[1]);
                           RawPeer::answer(connection, read[2]);
                           RawPeer::answerNext(connection);
                       }});
    EXPECT_LT(timeOf([&] { EXPECT_THAT(burst(looper_, 3), ElementsAre(0, error::TimedOut, error::TimedOut)); }), 900ms);
    EXPECT_LT(timeOf([&] { EXPECT_THAT(burst(looper_, 2), ElementsAre(error::TimedOut, error::TimedOut)); }), 400ms);
    go.set_value();
    EXPECT_TRUE(eventually([&] { return errorOf(exchange(ask(kEcho))) == 0; }));
}

std::vector<message> reads(int connection, int count) {
    std::vector<message> all;
    for (; count > 0; --count) all.push_back(RawPeer::read(connection));
    return all;
}

TEST_F(BusTest, RequestsSentAheadArriveTogetherAndEachReplyIsReturnedOnce) {
    const RawPeer peer(
        24, {[](int connection) {
            RawPeer::answerNext(connection);
            const std::vector<message> ahead = RawPeer::readPacket(connection);
            ASSERT_EQ(ahead.size(), 3U);
            RawPeer::write(connection,
                           std::vector{RawPeer::answerTo(ahead[1]), noteFrom({24, 2}, 1), RawPeer::answerTo(ahead[0])});
            RawPeer::answer(connection, ahead[2]);
            RawPeer::answerNext(connection);
            reads(connection, 1);  // is dropped: its reply comes before that of the next one
            const message next = RawPeer::read(connection);
            RawPeer::write(connection, with(numbered(0), field::ReplyTo, next.get_u32(field::RequestId) - 1));
            RawPeer::answer(connection, next);
        }});
    looper_.sendAhead({ask(kEcho, 1)});  // isn't sent: there is no connection
    const auto id = [&](uint32_t parameter) { return exchange(ask(kEcho, parameter)).get_u32(u32_id(1)); };
    const uint32_t first = id(1);
    looper_.sendAhead({ask(kEcho, 1), ask(kEcho, 2), ask(kEcho, 1)});
    EXPECT_THAT((std::vector{id(2), id(1), id(1), id(1)}), ElementsAre(first + 2, first + 1, first + 3, first + 4));
    looper_.sendAhead({ask(kEcho, 1)});
    looper_.dropAhead();
    EXPECT_EQ(id(1), first + 6);
    EXPECT_TRUE(client_.late.empty());
    EXPECT_TRUE(eventually([&] { return client_.heard.size() == 1; }, &looper_));
}

TEST_F(BusTest, RequestsSentAheadToSeveralNumbersTakeOnePacketForUpTo16ToEach) {
    const auto answersPackets = [](int connection) {
        for (const size_t size : {1U, 16U, 4U}) {
            std::vector<message> replies;
            for (const message& asked : RawPeer::readPacket(connection)) replies.push_back(RawPeer::answerTo(asked));
            EXPECT_EQ(replies.size(), size);
            RawPeer::write(connection, replies);
        }
    };
    const RawPeer peer(24, {answersPackets}), other(20, {answersPackets});
    std::vector<message> requests = {askAt(24), askAt(20)};
    for (const message& request : requests) EXPECT_EQ(errorOf(exchange(request)), 0U);
    for (uint32_t i = 2; i < 40; ++i) requests.push_back(with(askAt(i % 2 == 0 ? 24 : 20), u32_id(1), i));
    looper_.sendAhead(requests);
    for (const message& request : requests) EXPECT_EQ(errorOf(exchange(request)), 0U);
}

TEST_F(BusTest, RequestsAheadThatDontFitIntoOnePacketAreLeftToTheirExchanges) {
    const Peer peer({24}, serve);
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), 0U);
    const message large = with(ask(kEcho), string_id(2), std::string(150'000, 'x'));
    looper_.sendAhead({large, large});
    for (int i = 0; i < 2; ++i) EXPECT_EQ(errorOf(exchange(large)), 0U);
}

/// Notifies its subscribers of each kNote. The reply to anything else is nested too deep for a packet.
class Notifier : public Handler {
  public:
    message cmdUnknown(const message&, uint32_t command) override {
        message reply;
        if (command == kNote) return notifyChange(kNoId, {}), reply;
        for (size_t i = 0; i < kMaxNesting; ++i) reply = with({}, message_id(1), reply);
        return reply;
    }
};

TEST_F(BusTest, RequestsOfOnePacketAreAnsweredInOneUnlessSomeRepliesAreLargeOrLate) {
    const Peer peer({24}, serve);
    const Peer other({20}, serving({20}));
    const Descriptor caller = dialBus(24, 1s);
    makeRoomForPackets(caller.get());
    // The requests that each packet answers, numbered from 1; 100 more for an error.
    using Packets = std::vector<std::vector<uint32_t>>;
    const auto answers = [&](std::vector<message> requests) {
        for (uint32_t i = 0; i < requests.size(); ++i) requests[i].insert_u32(field::RequestId, i + 1);
        RawPeer::write(caller.get(), requests);
        Packets packets;
        for (size_t count = 0; count < requests.size() && isReadable(caller.get(), 5000);) {
            packets.emplace_back();
            for (const message& reply : RawPeer::readPacket(caller.get()))
                packets.back().push_back(reply.get_u32(field::ReplyTo) + (isError(reply) ? 100 : 0));
            count += packets.back().size();
        }
        return packets;
    };
    const message echo = ask(kEcho);
    const auto asksOther = with(ask(kAskOther), u32_array_id(2), {20, 2});
    const std::pair<std::vector<message>, Packets> cases[] = {
        {{echo, echo, ask(99), echo}, {{1, 2, 103, 4}}},
        {{echo, ask(kLong, 20'000), echo, echo}, {{1}, {2}, {3, 4}}},
        {{ask(kLong, 10'000), ask(kLong, 10'000), echo}, {{1}, {2, 3}}},
        {{echo, ask(kLong, kMaxPacket), echo}, {{1}, {102}, {3}}},
        {{echo, ask(kSleep, 20), echo}, {{1, 2}, {3}}},
        {{echo, asksOther, echo}, {{1}, {2, 3}}},
    };
    for (const auto& [requests, expected] : cases) {
        Packets last;  // other ones if a millisecond begins between two replies
        for (int i = 0; i < 20 && last != expected; ++i) last = answers(requests);
        EXPECT_EQ(last, expected);
    }
}

TEST_F(BusTest, RepliesOfOnePacketAreSentBeforeANotificationAndBeforeAnError) {
    Notifier notifier;
    looper_.addHandler(5, &notifier);
    ASSERT_TRUE(looper_.listen());
    const Descriptor caller = dialBus(34, 1s);
    const message subscribes = with(requestTo({34, 5}, cmd::Subscribe), field::NotifyCommand, cmd::Changed);
    RawPeer::write(caller.get(), std::vector{with(with(subscribes, field::RequestId, 1), field::Source, {77}),
                                             with(requestTo({34, 5}, kNote), field::RequestId, 2),
                                             with(requestTo({34, 5}, kNote + 1), field::RequestId, 3),
                                             with(subscribes, field::RequestId, 4)});
    EXPECT_TRUE(eventually([&] { return isReadable(caller.get(), 0); }, &looper_));
    for (const auto& [repliesTo, code] : {std::pair(1U, 0U), {0U, 0U}, {2U, 0U}, {3U, error::TooLarge}, {4U, 0U}}) {
        ASSERT_TRUE(RawPeer::hasNext(caller.get()));
        const message m = RawPeer::read(caller.get());
        EXPECT_EQ(m.get_u32(field::ReplyTo), repliesTo);
        EXPECT_EQ(errorOf(m), code);
    }
}

TEST_F(BusTest, APeerThatHangsFailsOneRequestSentAheadAfterItsTimeoutAndTheOthersAtOnce) {
    std::promise<void> go;
    const RawPeer peer(24, {[&](int connection) {
                           RawPeer::answerNext(connection);
                           const std::vector<message> ahead = reads(connection, 3);
                           RawPeer::answer(connection, ahead[0]);
                           go.get_future().wait();
                           RawPeer::answer(connection, ahead[1]);
                           RawPeer::answer(connection, ahead[2]);
                           RawPeer::answerNext(connection);
                       }});
    const uint32_t first = exchange(ask(kEcho)).get_u32(u32_id(1));
    const message hanging = with(ask(kEcho, 2), field::Source, client_.path());
    looper_.sendAhead({ask(kEcho, 1), hanging, ask(kEcho, 3)});
    EXPECT_EQ(errorOf(exchange(ask(kEcho, 1))), 0U);
    EXPECT_GE(timeOf([&] { EXPECT_THAT(getError(exchange(hanging, 50ms)), HasSubstr("no answer")); }), 45ms);
    EXPECT_LT(timeOf([&] { EXPECT_THAT(getError(exchange(ask(kEcho, 3))), HasSubstr("outstanding")); }), 500ms);
    go.set_value();
    EXPECT_TRUE(eventually([&] { return errorOf(exchange(ask(kEcho, 3))) == 0; }, &looper_));
    EXPECT_TRUE(eventually([&] { return !client_.late.empty(); }, &looper_));
    EXPECT_THAT(client_.late, ElementsAre(first + 2)) << "of the one whose exchange timed out";
}

TEST_F(BusTest, APeerThatDiesFailsOnlyTheRequestSentAheadThatItWasHandling) {
    struct Round {
        uint32_t sent;
        int read;  // the first one is answered
    };
    constexpr Round kRounds[] = {{3, 3}, {3, 1}, {2, 1}};  // in the second one, it may have read two
    std::vector<RawPeer::Conversation> conversations;
    for (const Round& round : kRounds) {
        for (int twice = 0; twice < 2; ++twice) {
            conversations.emplace_back([&round](int connection) {
                RawPeer::answerNext(connection);
                RawPeer::answer(connection, reads(connection, round.read).front());
                EXPECT_TRUE(round.read == 3 || isReadable(connection, 2000));
            });
        }
    }
    conversations.emplace_back(RawPeer::answerNext);
    const RawPeer peer(24, conversations);
    uint32_t last = 1;
    for (const Round& round : kRounds) {
        for (const bool isNoticedLate : {false, true}) {
            EXPECT_EQ(errorOf(exchange(ask(kEcho, last))), 0U) << "the last one of a round is sent again";
            for (uint32_t i = 1; i <= round.sent; ++i) looper_.sendAhead({ask(kEcho, i)});
            EXPECT_EQ(errorOf(exchange(ask(kEcho, 1))), 0U);
            if (isNoticedLate) usleep(20'000);
            last = round.sent;
            if (last > 2) {
                EXPECT_EQ(getError(exchange(ask(kEcho, 2))), "bus: 24: disconnected before it replied");
            }
        }
    }
    EXPECT_EQ(errorOf(exchange(ask(kEcho, last))), 0U);
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
