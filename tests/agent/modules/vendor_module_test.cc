#include "agent/modules/vendor_module.h"

#include "contracts/devices.h"
#include "contracts/neighbors.h"
#include "contracts/scripts.h"
#include "contracts/system.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

namespace system = contracts::system;
namespace usb_reset = contracts::usb_reset;

const std::string kVendorTables = "1.3.6.1.4.1.49999.1.1.";
const std::string kReboot = kVendorTables + "7.1.0", kUsbReset = kVendorTables + "7.2.0";

class VendorModuleTest : public AgentTest {
  protected:
    VendorModuleTest() {
        opensCommon(true);
        agent->addHandler(contracts::scripts::kPath, &scripts);
        agent->addHandler(contracts::neighbors::kPath, &neighbors);
        start_vendor_module();
    }
    TableOwner scripts, neighbors;
};

TEST_F(VendorModuleTest, WritingTheControlsReachesTheirOwners) {
    const ScriptedOwner& info = owner(contracts::system_info::kPath);
    const ScriptedOwner& reboot = owner(system::kPath);
    const ScriptedOwner& usb = owner(usb_reset::kPath);
    EXPECT_EQ(values({kReboot, kUsbReset}), "0 0");
    (void)set({number(kReboot, 0)});
    EXPECT_TRUE(reboot.requests.empty());
    EXPECT_EQ(info.requests.back().get_u32(tn::field::Command), tn::cmd::Set);
    (void)set({number(kReboot, 1), number(kUsbReset, 3)});
    ASSERT_EQ(reboot.requests.size(), 1U);
    EXPECT_EQ(testing::PrintToString(reboot.requests[0]), "{0xff0001:u32-array=24, 0xff0007:u32=5}");
    ASSERT_EQ(usb.requests.size(), 1U);
    EXPECT_EQ(testing::PrintToString(usb.requests[0]), "{0xff0001:u32-array=99,6, 0xff0007:u32=1, 0x1:u32=3}");
}

TEST_F(VendorModuleTest, ScriptsRunAndAreRenamed) {
    scripts.row(2).insert_string(contracts::scripts::Name, "backup");
    const std::string entry = kVendorTables + "8.1.1.";
    EXPECT_EQ(row(entry, {2, 3}, "2"), "backup 0");
    const auto sent = [&] { return testing::PrintToString(scripts.requests.back()); };
    (void)set({number(entry + "3.2", 1)});
    EXPECT_EQ(sent(), "{0xfe0001:u32=2, 0xff0001:u32-array=48,101, 0xff0007:u32=1}");
    (void)set({text(entry + "2.2", "save")});
    EXPECT_EQ(sent(), "{0xfe0001:u32=2, 0xff0001:u32-array=48,101, 0xff0007:u32=16646158, 0x66:string=\"save\"}");
}

TEST_F(VendorModuleTest, NeighboursAreListed) {
    namespace fields = contracts::neighbors;
    put(neighbors.row(1), {{fields::Address, Ip4{0xc0000201}}, {fields::Mac, Raw{1, 2, 3, 4, 5, 6}}});
    put(neighbors.row(1), {{fields::Identity, "id"}, {fields::Platform, "platform"}});
    put(neighbors.row(1), {{fields::Version, "version"}, {fields::Port, "port"}});
    EXPECT_EQ(shown(walk(kVendorTables + "11")), "192.0.2.1 01 02 03 04 05 06 id platform version port");
}

}  // namespace
}  // namespace snmp
