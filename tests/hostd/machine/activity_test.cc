// What processors, paging and disks have done: the texts of /proc, and means over the last minutes.

#include "hostd/machine/activity.h"

#include "contracts/activity.h"
#include "contracts/memory.h"
#include "hostd/machine/disk_activity.h"
#include "hostd/machine/memory_sizes.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/manual_clock.h"
#include "tests/tn/temp_root.h"

namespace hostd {

namespace activity = contracts::activity;
namespace disk_activity = contracts::disk_activity;

TEST(Activity, TakesWhatTheKernelReportsAndNothingElse) {
    ActivityCounters expected;
    for (size_t i = 0; i < expected.values.size(); ++i) expected.values[i] = i + 1;
    expected.processors = 2;
    const std::string stat = "cpu  1 2 3 4 5 6 7 8 9 10\ncpu0 1 2\ncpu1 1 2\nintr 11 0 5\nctxt 12\nbtime 99\n";
    const std::string vmstat = "nr_free 9\npgpgin 13\npgpgout 14\npswpin 15\npswpout 16";
    EXPECT_EQ(parseActivity(stat, vmstat), expected);
    EXPECT_EQ(parseActivity("", "pgpgin x\npgpgout -1\npswpin\npswpout 99999999999999999999\n"), ActivityCounters());
    const ActivityCounters old = parseActivity("cpu 1 2 3 4\n", "");  // a kernel without the later kinds
    EXPECT_EQ(old.values[3], 4U);
    EXPECT_EQ(old.values[4], std::nullopt);
}

TEST(Activity, HasTheMeansOfTheLastMinuteAndAtFirstOfTheTimeSinceBoot) {
    ManualClock clock;
    tn::TempTree tree;
    Activity owner(tree.path());
    const auto asked = [&](std::chrono::seconds uptime, const std::string& stat, const std::string& vmstat) {
        clock.time = uptime;
        tree.write("stat", stat);
        tree.write("vmstat", vmstat);
        const tn::message m = ask(owner, tn::cmd::Get);
        std::vector<uint32_t> values;
        for (const tn::u32_id field : {activity::UserPercent, activity::SystemPercent, activity::IdlePercent,
                                       activity::InterruptRate, activity::ReadRate, activity::SwapOutRate})
            values.push_back(m.get_u32(field));
        return values;
    };
    EXPECT_THAT(asked(100s, "cpu 20 10 5 50 5 3 2 5\nintr 1000\n", "pgpgin 500\npswpout 100\n"),
                ElementsAre(30, 10, 50, 10, 5, 1));
    EXPECT_THAT(asked(130s, "cpu 50 10 5 50 5 3 2 5\nintr 4000\n", "pgpgin 500\npswpout 100\n"),
                ElementsAre(100, 0, 0, 100, 0, 0));
    EXPECT_THAT(asked(190s, "cpu 50 10 5 110 4 3 2 5\nintr 4000\n", "pgpgin 6500\npswpout 100\n"),
                ElementsAre(0, 0, 100, 0, 100, 0))
        << "since 130 s, though the time of waiting went back";
    EXPECT_THAT(asked(195s, "cpu 50 10 5 110 4 3 2 5\nintr 4000\n", "pgpgin 6500\npswpout 100\n"),
                ElementsAre(0, 0, 100, 0, 92, 0));
    clock.suspended = 3600s;
    EXPECT_THAT(asked(3805s, "cpu 50 10 5 120 4 3 2 5\nintr 4000\n", "pgpgin 13500\npswpout 100\n"),
                ElementsAre(0, 0, 100, 0, 173, 0))
        << "13,000 KiB in the 75 s without the suspend";
    EXPECT_THAT(asked(4000s, "", ""), ElementsAre(0, 0, 0, 0, 0, 0));
}

TEST(LoadAverages, AreHundredths) {
    EXPECT_THAT(parseLoadavg("0.29 12.00 105.07 1/80 11206\n"), ElementsAre(29, 1200, 10507));
    for (const char* rubbish : {"", "0.1 0.2", "0.1 x 0.3 1/2 3", "0.1 -0.2 0.3 1/2 3", "0.1 nan 0.2", "1e9 1 1"})
        EXPECT_THAT(parseLoadavg(rubbish), IsEmpty()) << rubbish;
}

TEST(DiskActivity, KeepsIdsAndLeavesOutWhatWasNeverUsed) {
    ManualClock clock;
    clock.time = 1000s;
    tn::TempTree tree;
    DiskActivity owner(tree.path());
    const std::string idle = " 0 0 0 0 0 0 0 0 0 0 0\n";
    const auto shown = [&](const std::string& text) {
        tree.write("diskstats", text);
        clock.time += DiskActivity::kMaxAge;
        return listed(owner, disk_activity::Name);
    };
    EXPECT_THAT(shown("   8       0 sda 1 2 3 4 5 6 7 8 0 250000 11 12 13 14 15\n 8 1 sda1" + idle + " 7 0 loop0" +
                      idle + " 7 1 loop1 1 0 8 0 0 0 0 0 0 0 0\n 1 0 ram0" + idle + " 251 0 rampart" + idle +
                      " 8 2 sdb 1 2 3\n 8 3 sdc 1 x 3 4 5 6 7 8 9 10\n"),
                ElementsAre("1:sda", "2:sda1", "3:loop1", "4:rampart"));
    const tn::message sda = rowsOf(owner)[0];
    EXPECT_EQ(sda.get_u64(disk_activity::Reads), 1U);
    EXPECT_EQ(sda.get_u64(disk_activity::ReadOctets), 3 * 512U);
    EXPECT_EQ(sda.get_u64(disk_activity::Writes), 5U);
    EXPECT_EQ(sda.get_u64(disk_activity::WrittenOctets), 7 * 512U);
    EXPECT_EQ(sda.get_u64(disk_activity::Busy), 250'000U);
    EXPECT_THAT(shown(" 9 9 new" + idle + " 8 1 sda1" + idle), ElementsAre("1:new", "2:sda1"));
    EXPECT_THAT(shown(""), IsEmpty());
}

TEST(DiskActivity, MeansOfBusyTimeBeginWithThatSinceBootAndFade) {
    ManualClock clock;
    tn::TempTree tree;
    DiskActivity owner(tree.path());
    uint64_t busy = 0;
    const auto means = [&](std::chrono::milliseconds later, uint64_t more) {
        clock.time += later;
        busy += more;
        tree.write("diskstats", "8 0 sda 1 0 8 0 0 0 0 0 0 " + std::to_string(busy) + " 0\n");
        const tn::message row = rowsOf(owner)[0];
        return std::vector{row.get_u32(disk_activity::Busy1Minute), row.get_u32(disk_activity::Busy5Minutes),
                           row.get_u32(disk_activity::Busy15Minutes)};
    };
    clock.time = 0ms;
    EXPECT_THAT(means(1000s, 200'000), ElementsAre(20, 20, 20));
    EXPECT_THAT(means(1s, 1000), ElementsAre(20, 20, 20)) << "too short to count";
    EXPECT_THAT(means(59s, 59'000), ElementsAre(71, 35, 25)) << "1 - 0.8/e";
    EXPECT_THAT(means(60s, 90'000), ElementsAre(89, 46, 30)) << "not more than the time elapsed";
    clock.suspended = 7200s;
    EXPECT_THAT(means(7205s, 0), ElementsAre(82, 46, 30)) << "a suspend of two hours counts as no time";
    EXPECT_THAT(means(3600s, 0), ElementsAre(0, 0, 1));
    busy = 0;
    EXPECT_THAT(means(600s, 60'000), ElementsAre(10, 9, 5)) << "another device of the same name";
}

TEST(MemorySizes, HasTheLinesThatAreThere) {
    tn::TempTree tree;
    tree.write("meminfo",
               "MemTotal: 8 kB\nMemFree: 7 kB\nSwapCached: 3 kB\nCached: 6 kB\nShmem: 1 kB\nSwapFree: x kB\n");
    MemorySizes owner(tree.path());
    const tn::message m = ask(owner, tn::cmd::Get);
    EXPECT_EQ(m.get_u64(contracts::memory::Cached), 6U);
    EXPECT_EQ(m.get_u64(contracts::memory::Free), 7U);
    EXPECT_EQ(m.size(), 4U);
}

}  // namespace hostd
