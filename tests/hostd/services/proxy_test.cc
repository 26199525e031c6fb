// The web proxy's counters, from pages such as squid writes and from a squid that comes and goes.

#include "hostd/services/proxy.h"

#include "contracts/proxy.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/manual_clock.h"
#include "tests/hostd/source/scripted_source.h"

namespace hostd {

namespace proxy = contracts::proxy;

namespace {

constexpr std::string_view kInfo =
    "Squid Object Cache: Version 5.7\n"
    "\tStorage Swap size:\t4294967299 KB\n"
    "\tStorage Swap capacity:\t 0.0% used, 100.0% free\n"
    "\tStorage Mem size:\t220 KB\r\n"
    "\tUP Time:\t100.250 seconds";
constexpr std::string_view kCounters =
    "client_http.hits = 4294967298\n"
    "client_http.hit_kbytes_out = 17\n"
    "server.all.requests = 31\n"
    "server.http.requests = 99\n";

}  // namespace

TEST(SquidPages, GiveNothingForWhatTheyDoNotSay) {
    // Cut off, of another program, or with a clock that doesn't go with ours.
    const std::pair<const char*, const char*> none[] = {
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
    void pass(std::chrono::milliseconds time, const std::string& problem = "") {
        clock.time += time;
        squid.gives({problem, problem.empty() ? parseSquidPages(kInfo, kCounters, 1000.5) : SquidFigures()});
    }
    tn::message get() { return ask(proxy, tn::cmd::Get); }

    ManualClock clock;
    ScriptedSource<SquidReading> squid{SquidReading{}};
    Proxy proxy{squid.reader()};
};

TEST_F(ProxyTest, ShowsSquidsCountersFromTheFirstQueryOnWhileItRuns) {
    pass(0ms);
    // A counter wraps (0x67), a size doesn't (0x6f).
    EXPECT_EQ(PrintToString(get()), "{0x64:u32=900, 0x66:u32=31, 0x67:u32=2, 0x6f:u32=4294967295, 0x71:u32=220}");
    pass(Proxy::kMaxAge, "connection refused");
    EXPECT_TRUE(get().empty());
    pass(1h);
    EXPECT_TRUE(get().has(proxy::Hits));
}

}  // namespace hostd
