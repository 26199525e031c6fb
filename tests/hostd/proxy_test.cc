// The web proxy's counters, from pages such as squid writes and from a squid that comes and goes.

#include "hostd/proxy.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

#include "tests/hostd/ask.h"
#include "tests/hostd/hand_clock.h"

namespace hostd {

namespace {

using test::ask;
using test::becomesTrue;

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
    EXPECT_EQ(figures.startedAt, 900U);
    EXPECT_EQ(figures.memory, 220U);
    EXPECT_EQ(figures.storage, 4294967299U);
    EXPECT_EQ(figures.hits, 4294967298U);
    EXPECT_EQ(figures.clientOut, 21U);
    EXPECT_EQ(figures.serverRequests, 31U);
    EXPECT_EQ(figures.serverIn, 32U);
    EXPECT_EQ(figures.serverOut, 33U);

    // Cut off, of another program, or with a clock that doesn't go with ours.
    EXPECT_EQ(parseSquidPages("", "", 1000), SquidFigures());
    EXPECT_EQ(parseSquidPages("<html>Storage Mem size", "client_http.hits", 1000), SquidFigures());
    EXPECT_EQ(parseSquidPages("UP Time: none\n", "client_http.hits = -1\n", 1000), SquidFigures());
    EXPECT_EQ(parseSquidPages("UP Time: 1001 seconds\n", "", 1000), SquidFigures());
    EXPECT_EQ(parseSquidPages("UP Time: nan seconds\n", "", 1000), SquidFigures());
    EXPECT_EQ(parseSquidPages("x Storage Mem size: 5 KB\nStorage Mem sizes: 6 KB\n", "", 1000), SquidFigures());
}

/// A squid that the test leads.
struct Squid {
    SquidReading read() {
        ++readings;
        const std::lock_guard waits(slow);
        const std::lock_guard guard(mutex);
        SquidReading reading{.at = now, .problem = problem, .figures = {}};
        if (problem.empty()) reading.figures = parseSquidPages(kInfo, kCounters, 1000.5);
        return reading;
    }
    void becomes(const std::string& newProblem) {
        const std::lock_guard guard(mutex);
        problem = newProblem;
    }
    std::atomic<int> readings = 0;
    std::atomic<uint64_t> now = 0;
    std::mutex slow;  ///< held: it doesn't answer

  private:
    std::mutex mutex;
    std::string problem;
};

class ProxyTest : public ::testing::Test {
  protected:
    ProxyTest() { pass(0); }
    void pass(uint64_t milliseconds) {
        clock.milliseconds += milliseconds;
        squid->now = clock.milliseconds + 2;  // it is read a moment after somebody asked
    }
    tn::message get() { return ask(proxy, tn::cmd::Get); }

    test::HandClock clock;
    std::shared_ptr<Squid> squid = std::make_shared<Squid>();  // a reading may outlive the test
    Proxy proxy{[squid = squid] { return squid->read(); }};
};

TEST_F(ProxyTest, TheFirstToAskStartsAReadingForThoseWhoFollow) {
    EXPECT_TRUE(get().empty());
    tn::message reply;
    EXPECT_TRUE(becomesTrue([&] { return !(reply = get()).empty(); }));
    EXPECT_EQ(reply.get_u32(proxy::StartedAt), 900U);
    EXPECT_EQ(reply.get_u32(proxy::ServerRequests), 31U);
    EXPECT_EQ(reply.get_u32(proxy::Hits), 2U);             // a counter wraps
    EXPECT_EQ(reply.get_u32(proxy::Storage), UINT32_MAX);  // a size doesn't
    EXPECT_EQ(reply.get_u32(proxy::Memory), 220U);
    EXPECT_EQ(reply.get_u32(proxy::ServerIn), 32U);
    EXPECT_EQ(reply.get_u32(proxy::ServerOut), 33U);
    EXPECT_EQ(reply.get_u32(proxy::ClientOut), 21U);
    pass(Proxy::kMaxAge - 1);
    EXPECT_TRUE(get().has(proxy::Hits));
    EXPECT_EQ(squid->readings, 1);
    pass(1);
    EXPECT_TRUE(get().has(proxy::Hits));
    EXPECT_TRUE(becomesTrue([&] { return squid->readings == 2; }));
    EXPECT_TRUE(tn::isError(ask(proxy, tn::cmd::Set)));
}

TEST_F(ProxyTest, ASquidThatGoesTakesItsFiguresAlongAndIsFoundAgain) {
    EXPECT_TRUE(becomesTrue([&] { return get().has(proxy::Hits); }));
    squid->becomes("connection refused");
    pass(Proxy::kMaxAge);
    EXPECT_TRUE(becomesTrue([&] { return get().empty(); }));
    squid->becomes("");
    EXPECT_TRUE(becomesTrue([&] {
        pass(Proxy::kTooOld);  // somebody who asks seldom
        return get().has(proxy::Hits);
    }));
}

TEST_F(ProxyTest, ASquidThatHangsHoldsNobodyUp) {
    std::unique_lock hold(squid->slow);
    const auto started = std::chrono::steady_clock::now();
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(get().empty());
    const auto took = std::chrono::steady_clock::now() - started;
    EXPECT_LT(took, std::chrono::seconds(1));
    EXPECT_TRUE(becomesTrue([&] { return squid->readings == 1; }));
    hold.unlock();
    EXPECT_TRUE(becomesTrue([&] { return get().has(proxy::Hits); }));
    hold.lock();
    pass(Proxy::kMaxAge);
    EXPECT_TRUE(get().has(proxy::Hits));  // the older ones
    pass(Proxy::kTooOld);
    EXPECT_TRUE(get().empty());
    hold.unlock();
    EXPECT_TRUE(becomesTrue([&] { return get().has(proxy::Hits); }));
}

}  // namespace hostd
