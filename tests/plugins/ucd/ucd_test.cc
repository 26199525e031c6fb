// The limits of the numbers in UCD-SNMP-MIB. tests/e2e/machine_test.py compares values with this machine's.

#include "contracts/activity.h"
#include "contracts/file_systems.h"
#include "contracts/memory.h"
#include "tests/agent/table_owner.h"
#include "tests/plugins/plugin_test.h"

namespace snmp {
namespace {

const std::string kUcd = "1.3.6.1.4.1.2021.";

class UcdTest : public PluginTest {
  protected:
    UcdTest() : PluginTest("ucd") {}
};

TEST_F(UcdTest, SizesStopAtTheLimitOfTheirSyntax) {
    namespace memory = contracts::memory;
    put(owner(memory::kPath).reply, {{memory::Total, uint64_t{0x1'0000'0001}},
                                     {memory::Free, uint64_t{0x8000'0000}},
                                     {memory::Cached, uint64_t{5}},
                                     {memory::Reclaimable, uint64_t{2}}});
    TableOwner disks;
    put(disks.row(1), {{contracts::file_systems::MountPoint, std::string(300, 'x')},
                       {contracts::file_systems::Size, uint64_t{0x5'0000'0003}},
                       {contracts::file_systems::Free, uint64_t{0x2'0000'0003}},
                       {contracts::file_systems::Available, uint64_t{0x1'0000'0000}},
                       {contracts::file_systems::Files, uint64_t{1000}},
                       {contracts::file_systems::FreeFiles, uint64_t{999}}});
    put(disks.row(2), {{contracts::file_systems::MountPoint, "/empty"}});
    agent->addHandler(contracts::file_systems::kPath, &disks);
    load();
    EXPECT_EQ(values({kUcd + "4.5.0", kUcd + "4.6.0", kUcd + "4.20.0", kUcd + "4.21.0", kUcd + "4.15.0"}),
              "2147483647 2147483647 4294967297 2147483648 7");
    EXPECT_EQ(value(kUcd + "9.1.2.1"), std::string(255, 'x'));
    EXPECT_EQ(row(kUcd + "9.1.", {6, 7, 8, 9, 10}, "1"), "2147483647 2147483647 2147483647 75 1");
    EXPECT_EQ(row(kUcd + "9.1.", {11, 12, 13, 14, 15, 16}, "1"), "3 5 0 1 0 3");
    EXPECT_EQ(row(kUcd + "9.1.", {6, 7, 8, 9, 10}, "2"), "0 0 0 0 0");
}

TEST_F(UcdTest, CountersWrapAndLoadsAreText) {
    namespace activity = contracts::activity;
    put(owner(activity::kPath).reply, {{activity::User, uint64_t{0x1'0000'0002}},
                                       {activity::WrittenKib, uint64_t{0x8000'0003}},
                                       {activity::PageOctets, 4096U},
                                       {activity::SwapInRate, 3U},
                                       {activity::ReadRate, 0xffff'ffffU}});
    TableOwner loads;
    put(loads.row(2), {{contracts::load_averages::Minutes, 5U}, {contracts::load_averages::Load, 1205U}});
    agent->addHandler(contracts::load_averages::kPath, &loads);
    load();
    EXPECT_EQ(values({kUcd + "11.50.0", kUcd + "11.57.0", kUcd + "11.3.0", kUcd + "11.6.0"}), "2 6 12 2147483647");
    EXPECT_EQ(row(kUcd + "10.1.", {2, 3, 5}, "2"), "Load-5 12.05 1205");
    EXPECT_EQ(get({kUcd + "10.1.6.2"}).bindings[0].value, std::string("\x9f\x78\x04\x41\x40\xcc\xcd"));
}

}  // namespace
}  // namespace snmp
