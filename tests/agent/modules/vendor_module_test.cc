#include "agent/modules/vendor_module.h"

#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

const std::string kVendorTables = "1.3.6.1.4.1.49999.1.1.";
const std::string kReboot = kVendorTables + "7.1.0", kUsbReset = kVendorTables + "7.2.0";

class VendorModuleTest : public AgentTest {
  protected:
    VendorModuleTest() {
        opensCommon(true);
        agent->addHandler(std::vector<uint32_t>{48, 101}, &scripts);
        agent->addHandler(std::vector<uint32_t>{10, 1}, &neighbors);
        start_vendor_module();
    }
    TableOwner scripts, neighbors;
};

TEST_F(VendorModuleTest, WritingTheControlsReachesTheirOwners) {
    const ScriptedOwner& info = owner({24, 2});
    const ScriptedOwner& reboot = owner({24});
    const ScriptedOwner& usb = owner({99, 6});
    EXPECT_EQ(values({kReboot, kUsbReset}), "0 0");
    (void)set({number(kReboot, 0)});
    EXPECT_TRUE(reboot.requests.empty());
    EXPECT_EQ(info.requests.back().get_u32(tn::field::Command), tn::cmd::Set);
    (void)set({number(kReboot, 1), number(kUsbReset, 3)});
    ASSERT_EQ(reboot.requests.size(), 1U);
    EXPECT_EQ(reboot.requests[0].get_u32(tn::field::Command), tn::cmd::Reboot);
    ASSERT_EQ(usb.requests.size(), 1U);
    EXPECT_EQ(usb.requests[0].get_u32(tn::field::Command), 1U);
    EXPECT_EQ(usb.requests[0].get_u32(1), 3U);
}

TEST_F(VendorModuleTest, ScriptsRunAndAreRenamed) {
    scripts.row(2).insert_string(102, "backup");
    const std::string entry = kVendorTables + "8.1.1.";
    EXPECT_EQ(row(entry, {2, 3}, "2"), "backup 0");
    (void)set({number(entry + "3.2", 1)});
    EXPECT_EQ(scripts.requests.back().get_u32(tn::field::Command), 1U);
    EXPECT_EQ(scripts.requests.back().get_u32(tn::field::ObjectId), 2U);
    (void)set({text(entry + "2.2", "save")});
    EXPECT_EQ(scripts.requests.back().get_u32(tn::field::Command), tn::cmd::Set);
    EXPECT_EQ(scripts.requests.back().get_string(102), "save");
}

TEST_F(VendorModuleTest, NeighboursAreListed) {
    put(neighbors.row(1),
        {{1, Ip4{0xc0000201}}, {2, Raw{1, 2, 3, 4, 5, 6}}, {7, "id"}, {8, "platform"}, {6, "version"}, {11, "port"}});
    EXPECT_EQ(shown(walk(kVendorTables + "11")), "192.0.2.1 01 02 03 04 05 06 id platform version port");
}

}  // namespace
}  // namespace snmp
