#include "hostd/system.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <future>
#include <thread>

#include "tests/hostd/hand_clock.h"
#include "tests/hostd/temp_tree.h"

namespace hostd {

namespace {

tn::message ask(tn::Handler& owner, uint32_t command, tn::message request = {}) {
    request.insert_u32(tn::field::Command, command);
    return owner.handle(request);
}

/// TZ as long as this lives.
class Zone {
  public:
    explicit Zone(const char* zone) {
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~Zone() {
        ::unsetenv("TZ");
        ::tzset();
    }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;
};

}  // namespace

TEST(SystemTime, TellsTheOffsetOfThatMoment) {
    test::HandClock clock;
    SystemTime owner;
    struct Case {
        const char* zone;
        int64_t at;
        int32_t offset;
    } const cases[] = {
        {"UTC0", 1'700'000'000, 0},
        {"NPT-5:45", 1'700'000'000, 20'700},  // east of Greenwich, not a whole hour
        {"NST3:30", 1'700'000'000, -12'600},  // west
        {"XYZ1:30", 1'700'000'000, -5'400},
        {"CET-1CEST,M3.5.0,M10.5.0/3", 1'705'000'000, 3'600},  // January
        {"CET-1CEST,M3.5.0,M10.5.0/3", 1'720'000'000, 7'200},  // July
    };
    for (const Case& c : cases) {
        const Zone zone(c.zone);
        clock.wall = c.at;
        const tn::message reply = ask(owner, tn::cmd::Get);
        EXPECT_EQ(reply.get_u32(7), c.at) << c.zone;
        EXPECT_EQ(static_cast<int32_t>(reply.get_u32(27)), c.offset) << c.zone << " " << c.at;
    }
}

TEST(Identity, IsReadHereAndNeverSet) {
    Identity owner;
    char name[256] = {};
    ASSERT_EQ(::gethostname(name, sizeof name - 1), 0);
    EXPECT_EQ(ask(owner, tn::cmd::Get).get_string(12), name);
    tn::message set;
    set.insert_string(12, "other");
    uint32_t code = 0;
    EXPECT_TRUE(tn::isError(ask(owner, tn::cmd::Set, set), &code));
    EXPECT_EQ(code, tn::error::Refused);
    EXPECT_EQ(ask(owner, tn::cmd::Get).get_string(12), name);
}

TEST(System, RebootsOnlyWhenAllowedAndAskedByAWriter) {
    tn::message request;
    request.insert_u32(tn::field::Command, tn::cmd::Reboot);
    uint32_t code = 0;
    System forbidden{Reboot()};
    EXPECT_TRUE(tn::isError(forbidden.handle(request), &code));
    EXPECT_EQ(code, tn::error::Refused);

    int reboots = 0;
    System allowed([&reboots]() -> std::string {
        ++reboots;
        return "";
    });
    EXPECT_TRUE(tn::isError(allowed.handle(request, tn::right::Reading), &code));
    EXPECT_EQ(code, tn::error::NotPermitted);
    EXPECT_EQ(reboots, 0);
    EXPECT_TRUE(allowed.handle(request).empty());
    EXPECT_EQ(reboots, 1);

    System failing([] { return "Operation not permitted"; });
    EXPECT_EQ(tn::getError(failing.handle(request)), "reboot failed: Operation not permitted");
}

class SystemInfoTest : public ::testing::Test {
  protected:
    SystemInfoTest() {
        tree.write("proc/meminfo", "MemTotal: 1000 kB\nMemAvailable: 400 kB\n");
        tree.write("proc/self/mountinfo", "1 1 8:1 / / rw - ext4 /dev/sda1 rw\n");
        tree.write("sys/devices/system/cpu/online", "0-3\n");
        tree.write("sys/class/dmi/id/product_name", "Router 9000\n");
        tree.write("os-release", "PRETTY_NAME=\"Test 1\"\n");
        places = {tree.path("proc"), tree.path("sys"), tree.path("os-release"), [](const std::string&) {
                      return DiskSize{5000, 3000};
                  }};
    }
    test::TempTree tree;
    test::HandClock clock;
    SystemInfo::Places places;
};

TEST_F(SystemInfoTest, AnswersWithEverythingFromTheFirstAnswerOn) {
    SystemInfo owner(places);
    const tn::message reply = ask(owner, tn::cmd::Get);
    EXPECT_EQ(reply.get_u32(1), 1000);
    EXPECT_EQ(reply.get_u32(2), 1000);
    EXPECT_EQ(reply.get_u32(3), 400);
    EXPECT_EQ(reply.get_u32(6), 4);
    EXPECT_EQ(reply.get_u32(10), 5000);
    EXPECT_EQ(reply.get_u32(11), 3000);
    EXPECT_TRUE(reply.get_string(25).starts_with("Test 1, Linux "));
    EXPECT_EQ(reply.get_string(22), TARNIX_VERSION);
    EXPECT_EQ(reply.get_string(4), "Router 9000");
    EXPECT_TRUE(ask(owner, tn::cmd::Set).empty());
    EXPECT_EQ(ask(owner, tn::cmd::Get), reply);
}

TEST_F(SystemInfoTest, LeavesOutWhatCannotBeHad) {
    tree.remove("proc");
    tree.remove("sys");
    SystemInfo owner(places);
    const tn::message reply = ask(owner, tn::cmd::Get);
    EXPECT_TRUE(reply.has(tn::u32_id(1)));
    for (const uint32_t absent : {2U, 3U, 6U, 10U, 11U}) EXPECT_FALSE(reply.has(tn::u32_id(absent))) << absent;
    EXPECT_FALSE(reply.has(system_info::Model));
    tree.write("proc/device-tree/model", std::string_view("Board 7\0", 8));  // a board without firmware tables
    EXPECT_EQ(ask(*std::make_unique<SystemInfo>(places), tn::cmd::Get).get_string(4), "Board 7");
    tree.remove("proc");

    tree.write("proc/meminfo", "MemTotal: 7 kB\n");  // a source that comes back is found again
    clock.milliseconds += SystemInfo::kMaxAge;
    EXPECT_EQ(ask(owner, tn::cmd::Get).get_u32(2), 7);
    EXPECT_FALSE(ask(owner, tn::cmd::Get).has(tn::u32_id(3)));
}

TEST_F(SystemInfoTest, UptimeIsOfTheMomentAndMemoryAtMostSoOld) {
    SystemInfo owner(places);
    tree.write("proc/meminfo", "MemTotal: 1000 kB\nMemAvailable: 300 kB\n");
    clock.milliseconds += SystemInfo::kMaxAge - 1;
    EXPECT_EQ(ask(owner, tn::cmd::Get).get_u32(3), 400);
    clock.milliseconds += 1;
    EXPECT_EQ(ask(owner, tn::cmd::Get).get_u32(3), 300);
    clock.milliseconds = 5'000'000'000;  // past 32 bits of milliseconds
    EXPECT_EQ(ask(owner, tn::cmd::Get).get_u32(1), 5'000'000);
}

TEST_F(SystemInfoTest, SizesPast32BitsKeepWhatIsUsed) {
    places.sizeOfDisk = [](const std::string&) { return DiskSize{10ULL << 32, (10ULL << 32) - 1234}; };
    SystemInfo owner(places);
    const tn::message reply = ask(owner, tn::cmd::Get);
    EXPECT_EQ(reply.get_u32(10), 0xffffffff);
    EXPECT_EQ(reply.get_u32(10) - reply.get_u32(11), 1234);
}

TEST_F(SystemInfoTest, ADeadDiskDelaysNothingAndItsSizesAreAbsentInTheEnd) {
    auto answer = std::make_shared<std::promise<void>>();
    auto readings = std::make_shared<std::atomic<int>>(0);
    places.sizeOfDisk = [answered = answer->get_future().share(), readings](const std::string&) {
        if (++*readings > 1) answered.wait();
        return DiskSize{5000U + static_cast<unsigned>(*readings), 3000};
    };
    SystemInfo owner(places);
    clock.milliseconds += SystemInfo::kDisksMaxAge;
    EXPECT_EQ(ask(owner, tn::cmd::Get).get_u32(10), 5001);  // starts the reading that hangs
    clock.milliseconds += SystemInfo::kDisksPatience - 1;
    EXPECT_EQ(ask(owner, tn::cmd::Get).get_u32(10), 5001);
    clock.milliseconds += 1;
    EXPECT_FALSE(ask(owner, tn::cmd::Get).has(tn::u32_id(10)));
    for (int i = 0; i < 500 && *readings < 2; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(*readings, 2);  // not one more stuck thread for each request

    answer->set_value();
    for (int i = 0; i < 500 && !ask(owner, tn::cmd::Get).has(tn::u32_id(10)); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_GE(ask(owner, tn::cmd::Get).get_u32(10), 5002);
}

TEST_F(SystemInfoTest, ADiskDeadFromTheStartHoldsItUpForABoundedTime) {
    auto answer = std::make_shared<std::promise<void>>();
    places.sizeOfDisk = [answered = answer->get_future().share()](const std::string&) {
        answered.wait();
        return DiskSize{1, 1};
    };
    const auto before = std::chrono::steady_clock::now();
    {
        SystemInfo owner(places);
        EXPECT_FALSE(ask(owner, tn::cmd::Get).has(tn::u32_id(10)));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
    answer->set_value();  // the reading ends after its owner
}

TEST_F(SystemInfoTest, NobodyAskingMeansNothingRead) {
    auto readings = std::make_shared<std::atomic<int>>(0);
    places.sizeOfDisk = [readings](const std::string&) {
        ++*readings;
        return DiskSize{1, 1};
    };
    SystemInfo owner(places);
    clock.milliseconds += 10 * SystemInfo::kDisksMaxAge;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(*readings, 1);
}

}  // namespace hostd
