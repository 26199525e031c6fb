#include "hostd/machine/processor_loads.h"

#include "contracts/system.h"
#include "hostd/machine/system.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/manual_clock.h"
#include "tests/tn/temp_root.h"
#include "tn/looper.h"

namespace hostd {

namespace system_info = contracts::system_info;

using ::testing::Pair;

TEST(ProcessorLoads, AreTheMeanOfTheLastMinuteHoweverOftenTheyAreRead) {
    for (const uint64_t step : {1U, 5U, 15U, 30U}) {
        ProcessorLoads loads;
        // 100 ticks a second: idle for two minutes, then at work for half of one.
        for (uint64_t s = 0; s <= 150; s += step) {
            const uint64_t busy = s > 120 ? (s - 120) * 100 : 0;
            loads.update(1'000'000 + s * 1000,
                         "cpu0 " + std::to_string(busy) + " 0 0 " + std::to_string(s * 100 - busy));
        }
        EXPECT_THAT(loads.percent(), ElementsAre(Pair(1, 50))) << step;
    }
}

TEST(ProcessorLoads, BeginAtTheBootAndGoWithTheirProcessors) {
    ProcessorLoads loads;
    loads.update(0, "cpu  9 9 9 9\ncpu2 0 0 0 10 0 0 0 0\ncpu0 100 0 0 100 0 0 0 0 50 0\nintr 5\n");
    EXPECT_THAT(loads.percent(), ElementsAre(Pair(1, 50), Pair(3, 0)));
    loads.update(ProcessorLoads::kSpacing - 1, "cpu0 200 0 0 100\ncpu2 0 0 0 10\n");  // too short to say more
    EXPECT_THAT(loads.percent(), ElementsAre(Pair(1, 67), Pair(3, 0)));
    // 100 ticks: 10 user, 5 system, 1 irq, 70 idle, 14 waiting for disks.
    loads.update(5'000, "cpu0 110 0 5 170 14 1 0 0\ncpu2 3 0 0 10 0 0 0 0\n");
    EXPECT_THAT(loads.percent(), ElementsAre(Pair(1, 16), Pair(3, 100)));
    loads.update(10'000, "cpu0 110 0 5 60 0 1 0 0\ncpu3 1 0 0 3\ncpux 5\ncpu\n");  // idle time went back
    EXPECT_THAT(loads.percent(), ElementsAre(Pair(1, 16), Pair(4, 25)));
    loads.update(80'000, "cpu0 120 0 5 60 0 1 0 0\ncpu3 1 0 0 6\n");  // since 10 s; and nobody asked for a minute
    EXPECT_THAT(loads.percent(), ElementsAre(Pair(1, 100), Pair(4, 0)));
    loads.update(86'400'000, "cpu0 140 0 5 120 0 1 0 0\n");  // the mean of a pause, as long as nothing else is known
    EXPECT_THAT(loads.percent(), ElementsAre(Pair(1, 25)));
    loads.update(86'405'000, "cpu0 140 0 5 130 0 1 0 0\n");
    EXPECT_THAT(loads.percent(), ElementsAre(Pair(1, 0)));
    loads.update(86'410'000, "cpu0 139 0 5 190 0 1 0 0\n");  // busy time went back
    EXPECT_THAT(loads.percent(), ElementsAre(Pair(1, 0)));
    loads.update(86'410'000, "");
    EXPECT_THAT(loads.percent(), IsEmpty());
}

TEST(ProcessorTable, IsOfTheLastMinuteHoweverSeldomItIsQueried) {
    ManualClock clock;
    tn::Looper looper({});
    tn::TempTree tree;
    uint64_t busy = 10, idle = 90;
    const auto passes = [&](uint64_t busyTicks, uint64_t idleTicks, std::chrono::milliseconds time) {
        tree.write("stat", "cpu0 " + std::to_string(busy += busyTicks) + " 0 0 " + std::to_string(idle += idleTicks));
        clock.time += time;
    };
    passes(0, 0, 0ms);
    SystemInfo info({.proc = tree.path(), .sysfs = tree.path("none"), .osRelease = "", .loadInterval = 1ms},
                    watchDisks(tree.path()));
    EXPECT_TRUE(ask(info, tn::cmd::Get).has(system_info::Uptime));
    const auto load = [&] { return rowsOf(info).at(0).get_u32(system_info::Load); };
    EXPECT_EQ(load(), 10U);  // since the boot
    passes(50, 50, SystemInfo::kMaxAge - 1ms);
    EXPECT_EQ(load(), 10U);  // one reading for the columns of a walk
    clock.time += 1ms;
    EXPECT_EQ(load(), 30U);
    EXPECT_EQ(ask(info, tn::cmd::Get, of(1)).get_u32(system_info::Load), 30U);
    for (int minutes = 0; minutes < 59; ++minutes) {
        passes(6000, 0, 60'000ms);
        ASSERT_TRUE(looper.runOnce(5s));  // read without being asked
    }
    passes(1500, 4500, 60'000ms);
    EXPECT_EQ(load(), 25U);
}

}  // namespace hostd
