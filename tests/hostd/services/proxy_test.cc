// The web proxy's counters, from pages such as squid writes and from a squid that comes and goes.

#include "hostd/services/proxy.h"

#include <gtest/gtest.h>

#include "contracts/proxy.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/hand_clock.h"
#include "tests/hostd/sensors/led_source.h"

namespace hostd {

namespace proxy = contracts::proxy;

namespace {

constexpr std::string_view kInfo =
    "Squid Object Cache: Version 5.7\n"
    "\tStorage Swap size:\t4294967299 KB\n"
    "\tStorage Swap capacity:\t 0.0% used, 100.0% free\n"
    "\tStorage Mem size:\t220 KB\r\n"
    "\tUP Time:\t100.250 seconds\n"
    "\tCPU Time:\t0.029 seconds";
constexpr std::string_view kCounters =
    "sample_time = 1795293269.685839 (Sat, 21 Nov 2026 20:34:29 GMT)\n"
    "client_http.hits = 4294967298\n"
    "client_http.hit_kbytes_out = 17\n"
    "client_http.kbytes_out = 21\n"
    "server.all.requests = 31\n"
    "server.all.kbytes_in = 32\n"
    "server.all.kbytes_out = 33\n"
    "server.http.requests = 99\n";

}  // namespace

TEST(SquidPages, GiveWhatTheySayAndNothingElse) {
    const SquidFigures figures = parseSquidPages(kInfo, kCounters, 1000.5);
    EXPECT_EQ(figures.storage, 4294967299U);
    EXPECT_EQ(figures.hits, 4294967298U);

    // Cut off, of another program, or with a clock that doesn't go with ours.
    const std::pair<const char*, const char*> none[] = {
        {"", ""},
        {"<html>Storage Mem size", "client_http.hits"},
        {"UP Time: none\n", "client_http.hits = -1\n"},
        {"UP Time: 1001 seconds\n", ""},
        {"UP Time: nan seconds\n", ""},
        {"x Storage Mem size: 5 KB\nStorage Mem sizes: 6 KB\n", ""},
    };
    for (const auto& [info, counters] : none) EXPECT_EQ(parseSquidPages(info, counters, 1000), SquidFigures()) << info;
}

class ProxyTest : public ::testing::Test {
  protected:
    /// Time passes for the owner.
    void pass(uint64_t milliseconds, const std::string& problem = "") {
        clock.milliseconds += milliseconds;
        SquidReading reading{.problem = problem, .figures = {}};
        if (problem.empty()) reading.figures = parseSquidPages(kInfo, kCounters, 1000.5);
        squid.gives(reading);
    }
    tn::message get() { return ask(proxy, tn::cmd::Get); }
    bool hasFigures() { return get().has(proxy::Hits); }

    HandClock clock;
    LedSource<SquidReading> squid{SquidReading{}};
    Proxy proxy{squid.reader()};
};

TEST_F(ProxyTest, ShowsSquidsCountersFromTheFirstQuestionOn) {
    EXPECT_EQ(squid.readings(), 0);
    pass(0);
    const tn::message reply = get();
    EXPECT_EQ(reply.get_u32(proxy::StartedAt), 900U);
    EXPECT_EQ(reply.get_u32(proxy::ServerRequests), 31U);
    EXPECT_EQ(reply.get_u32(proxy::Hits), 2U);             // a counter wraps
    EXPECT_EQ(reply.get_u32(proxy::Storage), UINT32_MAX);  // a size doesn't
    EXPECT_EQ(reply.get_u32(proxy::Memory), 220U);
    EXPECT_EQ(reply.get_u32(proxy::ServerIn), 32U);
    EXPECT_EQ(reply.get_u32(proxy::ServerOut), 33U);
    EXPECT_EQ(reply.get_u32(proxy::ClientOut), 21U);
    pass(Proxy::kMaxAge - 1);
    EXPECT_TRUE(hasFigures());
    EXPECT_EQ(squid.readings(), 1);
    EXPECT_TRUE(tn::isError(ask(proxy, tn::cmd::Set)));
}

TEST_F(ProxyTest, ASquidThatGoesTakesItsFiguresAlongAndIsFoundAgain) {
    pass(0);
    EXPECT_TRUE(hasFigures());
    pass(Proxy::kMaxAge, "connection refused");
    EXPECT_TRUE(get().empty());
    pass(3'600'000);
    EXPECT_TRUE(hasFigures());
}

}  // namespace hostd
