// Requests that are sent before the replies to others: one packet each in a burst, and several in a packet.

#include <sys/ioctl.h>

#include <algorithm>
#include <future>

#include "bus_test.h"
#include "tn/bus.h"

namespace tn {
namespace {

/// Error codes of the replies to a burst of echo requests; for a reply that isn't an error, whether it is the right
/// one.
std::vector<uint32_t> burst(Looper& looper, uint32_t count, size_t octets = 0,
                            std::chrono::milliseconds timeout = 500ms) {
    std::vector<message> requests;
    for (uint32_t i = 0; i < count; ++i)
        requests.push_back(with(ask(kEcho, i), string_id(2), std::string(octets, 'x')));
    std::vector<uint32_t> codes;
    const std::vector<message> replies = looper.exchangeMessages(requests, timeout);
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
    EXPECT_EQ(burst(looper_, 2000, 1000, 10s), std::vector<uint32_t>(2000)) << "more than the socket has room for";
    EXPECT_THAT(burst(looper_, 2, kMaxPacket, 10s), ElementsAre(error::TooLarge, error::TooLarge));
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

}  // namespace
}  // namespace tn
