#include "agent/status/refusal_log.h"

#include "agent/status/source_list.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/said.h"

namespace snmp {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

const tn::IPAddr6 kPoller = tn::IPAddr6::ofIPv4(0xc0000207);

struct RefusalLogTest : testing::Test {
    /// What is logged when requests of one source are refused.
    std::string refused(Counter cause, milliseconds now, int times = 1, const std::string& user = "",
                        const tn::IPAddr6& source = kPoller) {
        return said([&] {
            for (int i = 0; i < times; ++i) log.add(source, cause, user, now);
        });
    }
    std::string flushed(milliseconds now) {
        return said([&] { log.flush(now); });
    }
    RefusalLog log;
};

TEST_F(RefusalLogTest, WritesOneLineAMinuteForEachCauseSourceAndUser) {
    EXPECT_EQ(refused(Counter::NoCommunity, 0s), "refused: 192.0.2.7: no such community\n");
    EXPECT_EQ(refused(Counter::NoCommunity, 1s, 12), "");
    EXPECT_EQ(refused(Counter::Decryption, 1s, 1, "ops"),
              "refused: 192.0.2.7: user ops: privacy password or protocol differs\n");
    EXPECT_EQ(refused(Counter::Decryption, 1s, 1, std::string(1000, 'x') + "\n"),
              "refused: 192.0.2.7: user " + std::string(32, 'x') + ": privacy password or protocol differs\n");
    EXPECT_EQ(refused(Counter::NoCommunity, 1s, 1, "", tn::IPAddr6::ofIPv4(1)),
              "refused: 0.0.0.1: no such community\n");
    EXPECT_EQ(flushed(60s - 1ms), "");
    EXPECT_EQ(flushed(60s), "refused: 192.0.2.7: no such community (12 times)\n");
    EXPECT_EQ(refused(Counter::NoCommunity, 61s), "");
    EXPECT_EQ(flushed(120s), "refused: 192.0.2.7: no such community\n");
    EXPECT_EQ(flushed(180s), "");
    EXPECT_FALSE(log.isPending());
    EXPECT_EQ(refused(Counter::NoCommunity, 181s), "refused: 192.0.2.7: no such community\n");
}

TEST_F(RefusalLogTest, WhatManagersCauseAtTheirStartIsNotLogged) {
    EXPECT_EQ(refused(Counter::UnknownEngine, 0s, 100), "");
    EXPECT_FALSE(log.isPending());
    EXPECT_EQ(refused(Counter::TimeWindow, 0s, 2), "");
    EXPECT_EQ(flushed(60s), "");
    EXPECT_EQ(refused(Counter::TimeWindow, 61s, 3), "refused: 192.0.2.7: outside the time window (3 times)\n");
}

TEST_F(RefusalLogTest, ForgedSourcesGetNoLinesBeyondTheTable) {
    const std::string first = said([this] {
        for (uint32_t i = 0; i < 10'000; ++i) log.add(tn::IPAddr6::ofIPv4(i), Counter::NoCommunity, "", 0s);
    });
    EXPECT_EQ(std::ranges::count(first, '\n'), 32);
    EXPECT_EQ(flushed(60s), "refused: requests for other reasons or from other sources (9968 times)\n");
    EXPECT_FALSE(log.isPending());
}

TEST(SourceList, KeepsTheLastOrTheBusiestOf32) {
    SourceList last(SourceList::Keep::Last);
    SourceList busiest(SourceList::Keep::Busiest);
    for (uint32_t i = 1; i <= 10'000; ++i) {  // in a flood from forged sources, a poller begins and ends
        const bool isPoller = i % 10 == 0 && i >= 1000 && i < 9000;
        for (SourceList* list : {&last, &busiest}) {
            list->add(isPoller ? kPoller : tn::IPAddr6::ofIPv4(i), isPoller ? Counter::None : Counter::NoCommunity,
                      milliseconds(i));
        }
    }
    const std::vector<Source> newest = last.sorted();
    ASSERT_EQ(newest.size(), SourceList::kMax);
    for (uint32_t i = 0; i < 32; ++i) EXPECT_EQ(newest[i].address, tn::IPAddr6::ofIPv4(10'000 - i));
    EXPECT_EQ(std::tuple(newest[0].requests, newest[0].refused, newest[0].lastRefusal),
              std::tuple(1U, 1U, Counter::NoCommunity));

    const std::vector<Source> most = busiest.sorted();
    ASSERT_EQ(most.size(), SourceList::kMax);
    EXPECT_EQ(most[0].address, kPoller);
    EXPECT_EQ(std::tuple(most[0].requests, most[0].refused, most[0].lastSeen), std::tuple(800U, 0U, 8990ms));
}

}  // namespace
}  // namespace snmp
