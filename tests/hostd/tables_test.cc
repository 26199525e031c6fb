// Processors, disks, scripts and neighbours, each from a source made by the test.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "contracts/disks.h"
#include "contracts/neighbors.h"
#include "contracts/scripts.h"
#include "contracts/system.h"
#include "hostd/links/neighbors.h"
#include "hostd/machine/disk_table.h"
#include "hostd/machine/processor_loads.h"
#include "hostd/machine/system.h"
#include "hostd/services/scripts.h"
#include "hostd/table/row_text.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/hand_clock.h"
#include "tests/hostd/sensors/led_source.h"
#include "tests/tn/temp_root.h"
#include "tn/looper.h"

namespace hostd {

namespace disks = contracts::disks;
namespace neighbors = contracts::neighbors;
namespace scripts = contracts::scripts;
namespace system_info = contracts::system_info;

namespace {

namespace field = tn::field;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

}  // namespace

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
    loads.update(86'405'000, "");
    EXPECT_THAT(loads.percent(), IsEmpty());
}

TEST(ProcessorTable, IsOfTheLastMinuteHoweverSeldomItIsQueried) {
    HandClock clock;
    tn::Looper looper({});
    tn::TempTree tree;
    uint64_t busy = 10;
    uint64_t idle = 90;
    const auto passes = [&](uint64_t busyTicks, uint64_t idleTicks, uint64_t milliseconds) {
        tree.write("stat", "cpu0 " + std::to_string(busy += busyTicks) + " 0 0 " + std::to_string(idle += idleTicks));
        clock.milliseconds += milliseconds;
    };
    passes(0, 0, 0);
    SystemInfo info({.proc = tree.path(), .sysfs = tree.path("none"), .osRelease = "", .loadInterval = 1},
                    watchDisks(tree.path()));
    EXPECT_TRUE(ask(info, tn::cmd::Get).has(system_info::Uptime));
    const auto load = [&] { return rowsOf(info).at(0).get_u32(system_info::Load); };
    EXPECT_EQ(load(), 10U);  // since the boot
    passes(50, 50, SystemInfo::kMaxAge - 1);
    EXPECT_EQ(load(), 10U);  // one reading for the columns of a walk
    clock.milliseconds += 1;
    EXPECT_EQ(load(), 30U);
    EXPECT_EQ(ask(info, tn::cmd::Get, of(1)).get_u32(system_info::Load), 30U);
    EXPECT_EQ(ask(info, tn::cmd::GetCount).get_u32(field::Count), 1U);
    for (int minutes = 0; minutes < 59; ++minutes) {
        passes(6000, 0, 60'000);
        ASSERT_TRUE(looper.runOnce(std::chrono::seconds(5)));  // read without being asked
    }
    passes(1500, 4500, 60'000);
    EXPECT_EQ(load(), 25U);
}

TEST(DiskTable, KeepsIdsWhileMountedAndShowsThoseThatTellTheirSize) {
    HandClock clock;
    tn::TempTree tree;
    const auto silent = std::make_shared<std::atomic<char>>('x');
    DiskTable table(watchDisks(tree.path(), [silent](const std::string& point) -> std::optional<DiskSize> {
        if (point[1] == *silent) return {};
        return DiskSize{point == "/a" ? 0x1'0000'0000U : 100U, 40};
    }));
    const auto shown = [&](const std::string& names) {
        std::string text;
        for (const char name : names)
            text += std::string("1 1 8:") + name + " / /" + name + " rw - ext4 /dev/sd" + name + " rw\n";
        tree.write("self/mountinfo", text);
        clock.milliseconds += kDisksMaxAge;
        return listed(table, disks::MountPoint);
    };
    EXPECT_THAT(shown("abc"), ElementsAre("1:/a", "2:/b", "3:/c"));
    const auto rows = rowsOf(table);
    EXPECT_EQ(rows[0].get_u32(disks::Size), UINT32_MAX);
    EXPECT_EQ(rows[1].get_u32(disks::Size), 100U);
    EXPECT_EQ(rows[1].get_u32(disks::Free), 40U);
    EXPECT_THAT(shown("acxde"), ElementsAre("1:/a", "3:/c", "4:/d", "5:/e"));
    *silent = 'c';
    EXPECT_THAT(shown("acfxde"), ElementsAre("1:/a", "2:/x", "4:/d", "5:/e", "6:/f"));
    *silent = ' ';
    EXPECT_THAT(shown("ec"), ElementsAre("3:/c", "5:/e"));
}

TEST(Neighbors, AreThereFromTheFirstWalkOnAndKeepTheirIds) {
    HandClock clock;
    LedSource heard(Reading<Neighbor>{"", {{"eth0-a", 0xc0000201, {1, 2, 3, 4, 5, 6}, "a", "", "OS 1", "port 1"}}});
    Neighbors table(heard.reader());
    const auto rows = rowsOf(table);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].get_be32(neighbors::Address), 0xc0000201U);
    EXPECT_EQ(rows[0].get_raw(neighbors::Mac).size(), 6U);
    EXPECT_EQ(rows[0].get_string(neighbors::Version), "OS 1");
    EXPECT_FALSE(rows[0].has(neighbors::Platform));

    const std::string lengthy(9999, 'b');
    const std::string a = std::to_string(likedIdOf("eth0-a")) + ":";
    const std::string b = std::to_string(likedIdOf("eth1-b")) + ":";
    const std::pair<Reading<Neighbor>, std::vector<std::string>> cases[] = {
        {{"", {{"eth1-b", 0, {}, "b", "", "", ""}, {"eth0-a", 0, {}, "a2", "", "", ""}}}, {a + "a2", b + "b"}},
        {{"", {{"eth1-b", 0, {}, lengthy, "", "", ""}}}, {b + lengthy.substr(0, kMostText)}},
        {{"lldpd doesn't answer", {}}, {}},
    };
    for (const auto& [reading, expected] : cases) {
        heard.gives(reading);
        clock.milliseconds += Neighbors::kMaxAge;
        EXPECT_EQ(listed(table, neighbors::Identity), expected);
    }
    const int before = heard.readings();
    clock.milliseconds += 60'000;
    tn::Looper looper({});  // made after the owners, as in both programs
    looper.addHandler(10, &table);
    EXPECT_TRUE(eventually([&] { return heard.readings() > before; })) << "not read ahead";
}

class ScriptsTest : public ::testing::Test {
  protected:
    ScriptsTest() { ::umask(S_IWGRP | S_IWOTH); }  // others' write permission would prevent runs
    void has(const std::string& name, const std::string& text = "", mode_t mode = 0755) {
        tree.write(name, "#!/bin/sh\n" + text + "\n");
        ::chmod(tree.path(name).c_str(), mode);
    }
    std::vector<std::string> names() { return listed(scripts, scripts::Name); }
    uint32_t rename(uint32_t id, const std::string& name) {
        tn::message request = of(id);
        request.insert_string(scripts::Name, name);
        return errorOf(ask(scripts, tn::cmd::Set, request));
    }
    std::string content(const std::string& name) {
        std::ifstream file(tree.path(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }
    HandClock clock;
    tn::TempTree tree;
    Scripts scripts{tree.path()};
};

TEST_F(ScriptsTest, AreTheExecutableFilesOfTheFolder) {
    EXPECT_THAT(names(), IsEmpty());
    has("b");
    has("a");
    has(".hidden");
    has("text", "", 0644);
    has("sub/inner");
    EXPECT_THAT(names(), ElementsAre("1:a", "2:b"));
    tree.remove("a");
    has("c");
    EXPECT_THAT(names(), ElementsAre("2:b", "3:c"));
    has("a");
    EXPECT_THAT(names(), ElementsAre("2:b", "3:c", "4:a"));
    ::chmod(tree.path("text").c_str(), 0755);  // the folder's own time doesn't tell
    clock.milliseconds += Scripts::kMaxAge;
    EXPECT_THAT(names(), ElementsAre("2:b", "3:c", "4:a", "5:text"));
    EXPECT_THAT(listed(*std::make_unique<Scripts>(tree.path("none")), scripts::Name), IsEmpty());
}

TEST_F(ScriptsTest, AreRenamedUnlessTheNameIsBadOrTaken) {
    has("a", "echo a");
    has("b", "echo b");
    EXPECT_THAT(names(), ElementsAre("1:a", "2:b"));
    EXPECT_EQ(rename(1, "renamed"), 0U);
    EXPECT_THAT(names(), ElementsAre("1:renamed", "2:b"));
    EXPECT_TRUE(std::filesystem::exists(tree.path("renamed")));
    for (const std::string& bad : {std::string("b"), std::string("x/y"), std::string("../x"), std::string(".x"),
                                   std::string(), std::string("x\0y", 3), std::string(256, 'x')})
        EXPECT_EQ(rename(1, bad), tn::error::Refused) << bad;
    EXPECT_EQ(rename(9, "x"), tn::error::NotFound);
    EXPECT_EQ(rename(1, "renamed"), 0U);
    EXPECT_NE(content("b").find("echo b"), std::string::npos);
    EXPECT_THAT(names(), ElementsAre("1:renamed", "2:b"));
}

TEST_F(ScriptsTest, RunDetachedAndAreReaped) {
    // In a process group and session of its own, with nothing to read, and without our descriptors.
    has("run",
        "cut -d' ' -f5,6 /proc/self/stat > \"$0.session\"; cat > \"$0.stdin\"; ls /proc/self/fd > \"$0.fds\"\n"
        "grep SigIgn /proc/self/status > \"$0.ignored\"\n"
        "echo out; echo err >&2; echo done > \"$0.done\"");
    tree.write("bad", "#!/no/such/interpreter\n");
    ::chmod(tree.path("bad").c_str(), 0755);
    EXPECT_THAT(names(), ElementsAre("1:bad", "2:run"));
    tn::Looper looper({});
    const auto before = ::signal(SIGPIPE, SIG_IGN);  // as daemons have it
    EXPECT_EQ(errorOf(ask(scripts, scripts::kRun, of(1))), tn::error::Refused);
    EXPECT_EQ(errorOf(ask(scripts, scripts::kRun, of(9))), tn::error::NotFound);
    EXPECT_EQ(errorOf(ask(scripts, scripts::kRun, of(2))), 0U);
    ASSERT_TRUE(eventually([&] { return content("run.done") == "done\n"; }, &looper));
    ::signal(SIGPIPE, before);
    EXPECT_EQ(std::stoull(content("run.ignored").substr(8), nullptr, 16) >> (SIGPIPE - 1) & 1, 0U);
    EXPECT_EQ(content("run.stdin"), "");
    EXPECT_EQ(content("run.fds"), "0\n1\n2\n3\n");  // 3 is the listed folder
    EXPECT_NE(content("run.session").find(' '), std::string::npos);
    EXPECT_EQ(content("run.session").find(std::to_string(::getpgrp()) + " "), std::string::npos);
}

TEST_F(ScriptsTest, AreListedAndNotRunWhenOthersMayHaveWrittenThem) {
    const std::string others = ": others than its owner may write it";
    const std::string stranger = ": belongs to user 65534";
    const std::string badName = "its name begins with - or isn't all printable ASCII";
    const struct {
        std::string name, changed;  // of the script; of what gets the mode and the owner, below top
        mode_t mode;
        uid_t owner;
        std::string refused;  // the end of the refusal; empty when it is run
    } cases[] = {
        {"a b~", "", 0755, 0, ""},
        {"-a", "", 0755, 0, badName},
        {"a\n", "", 0755, 0, badName},
        {"\u00e4", "", 0755, 0, badName},
        {"group", "/folder/group", 0775, 0, "/folder/group" + others},
        {"world", "/folder/world", 0757, 0, "/folder/world" + others},
        {"theirs", "/folder/theirs", 0755, 65534, "/folder/theirs" + stranger},
        {"a", "/folder", 0775, 0, "/folder" + others},
        {"a", "/folder", 01777, 0, "/folder" + others},
        {"a", "/folder", 0755, 65534, "/folder" + stranger},
        {"a", "", 0757, 0, others},
        {"a", "/..", 0757, 0, others},
        {"a", "", 01777, 0, ""},  // as /tmp is
        {"link", "/elsewhere", 0757, 0, "/elsewhere" + others},
    };
    const tn::Looper looper({});
    for (const auto& [name, changed, mode, owner, refused] : cases) {
        if (owner != 0 && ::geteuid() != 0) continue;  // giving a file away takes root
        tree.remove();
        has(name == "link" ? "top/elsewhere/link" : "top/folder/" + name);
        if (name == "link") {
            std::filesystem::create_directory(tree.path("top/folder"));
            std::filesystem::create_symlink("../elsewhere/link", tree.path("top/folder/link"));
        }
        const std::string target = tree.path("top" + changed);
        ASSERT_EQ(::chmod(target.c_str(), mode), 0);
        ASSERT_EQ(::chown(target.c_str(), owner != 0 ? owner : ::geteuid(), static_cast<gid_t>(-1)), 0);
        Scripts found(tree.path("top/folder"));
        EXPECT_THAT(listed(found, scripts::Name), ElementsAre("1:" + name));
        const tn::message reply = ask(found, scripts::kRun, of(1));
        EXPECT_EQ(tn::isError(reply), !refused.empty()) << name << " " << target << ": " << tn::getError(reply);
        EXPECT_THAT(tn::getError(reply), ::testing::EndsWith(refused));
    }
}

TEST_F(ScriptsTest, OnlySoManyRunAtOnce) {
    has("sleep", "exec sleep 0.3");
    EXPECT_THAT(names(), ElementsAre("1:sleep"));
    tn::Looper looper({});
    for (size_t i = 0; i < Scripts::kMaxRuns; ++i) EXPECT_EQ(errorOf(ask(scripts, scripts::kRun, of(1))), 0U);
    EXPECT_EQ(errorOf(ask(scripts, scripts::kRun, of(1))), tn::error::Refused);
    EXPECT_TRUE(eventually([&] { return errorOf(ask(scripts, scripts::kRun, of(1))) == 0; }, &looper));
}

}  // namespace hostd
