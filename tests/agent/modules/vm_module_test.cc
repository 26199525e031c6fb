#include "agent/modules/vm_module.h"

#include "contracts/guests.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

namespace podhost_guests = contracts::podhost_guests;
namespace virtual_machines = contracts::virtual_machines;

const std::string kVm = "1.3.6.1.4.1.6876.2.1.1.";
const std::string kFirstKvm = "131073", kFirstPod = "65537";

class VmModuleTest : public AgentTest {
  protected:
    VmModuleTest() {
        opensCommon();
        agent->addHandler(virtual_machines::kPath, &kvm);
        agent->addHandler(podhost_guests::kPath, &podhost);
        start_vm_module();
    }
    TableOwner kvm, podhost;
};

TEST_F(VmModuleTest, AGuestsConfigurationIsOneText) {
    const std::tuple<const char*, const char*, const char*, bool, const char*> cases[] = {
        {"disk", "kernel", "args", false, "disk kernel args "},
        {"disk", "kernel", "args", true, "disk kernel args [snapshot]"},
        {"", "", "", true, "[snapshot]"},
        {"disk ", "", "args", false, "disk args "},
    };
    for (const auto& [disk, kernel, args, snapshot, config] : cases) {
        put(kvm.row(1), {{virtual_machines::Disk, disk}, {virtual_machines::Kernel, kernel}});
        put(kvm.row(1), {{virtual_machines::Initrd, args}, {virtual_machines::HasSnapshot, snapshot}});
        EXPECT_EQ(value(kVm + "3." + kFirstKvm), config);
    }
}

TEST_F(VmModuleTest, SizesRemarksAndStates) {
    put(kvm.row(1), {{virtual_machines::Memory, 4096U}, {virtual_machines::Processors, 8U}});
    put(kvm.row(1), {{virtual_machines::State, 12U}, {tn::field::Comment, "build machine"}});
    put(podhost.row(1), {{podhost_guests::Memory, 256U}, {podhost_guests::State, 0xffffffffU}});
    EXPECT_EQ(row(kVm, {2, 3, 4, 5, 6, 9}, kFirstKvm), "'' '' build machine 4096 error extract failed 8");
    EXPECT_EQ(row(kVm, {3, 4, 5, 6, 9}, kFirstPod), "podhost '' 256 unknown 1");
}

}  // namespace
}  // namespace snmp
