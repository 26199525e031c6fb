#include "hostd/machine/system.h"

#include <cstdlib>
#include <ctime>

#include "contracts/system.h"
#include "hostd/machine/model.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/manual_clock.h"
#include "tests/hostd/source/scripted_source.h"
#include "tests/tn/temp_root.h"

namespace hostd {

namespace system = contracts::system;
namespace system_info = contracts::system_info;

TEST(SystemTime, TellsTheOffsetOfThatMoment) {
    ManualClock clock;
    SystemTime owner;
    const std::tuple<const char*, int64_t, int32_t> cases[] = {
        {"NPT-5:45", 1'700'000'000, 20'700},                   // east of Greenwich, not a whole hour
        {"NST3:30", 1'700'000'000, -12'600},                   // west
        {"CET-1CEST,M3.5.0,M10.5.0/3", 1'705'000'000, 3'600},  // January
        {"CET-1CEST,M3.5.0,M10.5.0/3", 1'720'000'000, 7'200},  // July
    };
    for (const auto& [zone, at, offset] : cases) {
        ::setenv("TZ", zone, 1);
        clock.wall = at;
        const std::string offsetText = std::to_string(static_cast<uint32_t>(offset));
        EXPECT_EQ(PrintToString(ask(owner, tn::cmd::Get)),
                  "{0x7:u32=" + std::to_string(at) + ", 0x1b:u32=" + offsetText + "}")
            << zone;
    }
    ::unsetenv("TZ");
    ::tzset();
}

TEST(System, RebootsOnlyWhenAllowedAndAskedByAWriter) {
    System forbidden{Reboot()};
    EXPECT_EQ(errorOf(ask(forbidden, system::kReboot)), tn::error::Refused);
    std::string failure;
    int reboots = 0;
    System allowed([&] { return ++reboots, failure; });
    EXPECT_EQ(errorOf(ask(allowed, system::kReboot, {}, tn::right::Reading)), tn::error::NotPermitted);
    EXPECT_EQ(reboots, 0);
    EXPECT_TRUE(ask(allowed, system::kReboot).empty());
    EXPECT_EQ(reboots, 1);
    failure = "Operation not permitted";
    EXPECT_EQ(tn::getError(ask(allowed, system::kReboot)), "reboot failed: Operation not permitted");
}

class SystemInfoTest : public ::testing::Test {
  protected:
    SystemInfoTest() {
        tree.write("proc/meminfo", "MemTotal: 1000 kB\nMemAvailable: 400 kB\n");
        tree.write("proc/self/mountinfo", "1 1 8:1 / / rw - ext4 /dev/sda1 rw\n");
        tree.write("sys/devices/system/cpu/online", "0-3\n");
        tree.write("sys/class/dmi/id/product_name", "Router 9000\n");
        tree.write("os-release", "PRETTY_NAME=\"Test 1\"\n");
        paths = {tree.path("proc"), tree.path("sys"), tree.path("os-release")};
    }
    SystemInfo make() {
        return {paths, watchDisks(paths.proc, [read = disk.reader()](const std::string&) { return read(); })};
    }
    tn::TempTree tree;
    ManualClock clock;
    ScriptedSource<DiskSize> disk{DiskSize{5000, 3000}};
    SystemInfo::Paths paths;
};

TEST_F(SystemInfoTest, AnswersWithEverythingFromTheFirstAnswerOn) {
    SystemInfo owner = make();
    const tn::message reply = ask(owner, tn::cmd::Get);
    EXPECT_THAT(
        PrintToString(reply),
        StartsWith("{0x1:u32=1000, 0x2:u32=1000, 0x3:u32=400, 0x6:u32=4, 0xa:u32=5000, 0xb:u32=3000, "
                   "0x4:string=\"Router 9000\", 0x16:string=\"" TARNIX_VERSION "\", 0x19:string=\"Test 1, Linux "));
    EXPECT_TRUE(ask(owner, tn::cmd::Set).empty());
    EXPECT_EQ(ask(owner, tn::cmd::Get), reply);
}

TEST_F(SystemInfoTest, LeavesOutWhatCannotBeHad) {
    tree.remove("proc");
    tree.remove("sys");
    SystemInfo owner = make();
    EXPECT_THAT(PrintToString(ask(owner, tn::cmd::Get)),
                StartsWith("{0x1:u32=1000, 0x16:string=\"" TARNIX_VERSION "\", 0x19:string=\"Test 1, Linux "));
    tree.write("proc/meminfo", "MemTotal: 7 kB\n");  // a source that comes back is found again
    clock.time += SystemInfo::kMaxAge;
    EXPECT_EQ(ask(owner, tn::cmd::Get).get_u32(system_info::MemoryTotal), 7);
}

TEST(Model, IsTheMainBoardsWhereTheFirmwareNamesNoProduct) {
    const struct {
        std::string product, vendor, boardVendor, board, expected;
    } cases[] = {
        {"Router 9000", "Acme", "Acme", "X1", "Router 9000"},
        {" 7X06 ", "Acme", "", "", "7X06"},
        {"To be filled by O.E.M.", "Acme", "ASRock", "B450M Pro4 ", "ASRock B450M Pro4"},
        {"SYSTEM PRODUCT NAME", "System manufacturer", "ASUSTeK", "PRIME X570-P", "ASUSTeK PRIME X570-P"},
        {"", "Supermicro", "Default string", "X11SSL", "Supermicro X11SSL"},
        {"Default string", "Acme", "Acme", "Default string", "Device tree 7"},
    };
    const tn::TempTree tree;
    tree.write("device-tree/model", std::string_view("Device tree 7\0", 14));
    for (const auto& [product, vendor, boardVendor, board, expected] : cases) {
        tree.write("class/dmi/id/product_name", product + "\n");
        tree.write("class/dmi/id/sys_vendor", vendor + "\n");
        tree.write("class/dmi/id/board_vendor", boardVendor + "\n");
        tree.write("class/dmi/id/board_name", board + "\n");
        EXPECT_EQ(readModel(tree.path(), tree.path()), expected) << product;
    }
    EXPECT_EQ(readModel("/no/such", "/no/such"), "");
}

TEST_F(SystemInfoTest, PastThirtyTwoBitsUptimeGoesOnAndSizesKeepWhatIsUsed) {
    disk.gives({10ULL << 32, (10ULL << 32) - 1234});
    SystemInfo owner = make();
    clock.time = 5'000'000'000ms;
    const tn::message reply = ask(owner, tn::cmd::Get);
    EXPECT_EQ(reply.get_u32(system_info::Uptime), 5'000'000);
    EXPECT_EQ(reply.get_u32(system_info::DiskTotal), 0xffffffff);
    EXPECT_EQ(reply.get_u32(system_info::DiskTotal) - reply.get_u32(system_info::DiskFree), 1234);
}

}  // namespace hostd
