#include "agent/modules/vm_module.h"

#include <gmock/gmock.h>

#include "contracts/guests.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

namespace podhost_guests = contracts::podhost_guests;
namespace virtual_machines = contracts::virtual_machines;
using testing::ElementsAre;

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

TEST_F(VmModuleTest, GuestsOfBothKindsAreOneTable) {
    for (const uint32_t id : {1U, 2U}) {
        kvm.row(id).insert_string(tn::field::Name, "kvm" + std::to_string(id));
        podhost.row(id).insert_string(tn::field::Name, "pod" + std::to_string(id));
    }
    const std::string name = kVm + "2.";
    for (const uint32_t repetitions : {0U, 3U, 50U}) {
        EXPECT_THAT(walk(kVm + "2", repetitions),
                    ElementsAre(text(name + "65537", "pod1"), text(name + "65538", "pod2"),
                                text(name + "131073", "kvm1"), text(name + "131074", "kvm2")));
    }
    // A guest that goes while it is being walked past takes no other with it.
    podhost.loses(2);
    EXPECT_EQ(next({name + "65538"}).bindings[0].value, "kvm1");
    kvm.lies = [](const tn::message&) { return tn::errorMsg(tn::error::TimedOut, "no answer"); };
    EXPECT_THAT(walk(kVm + "2"), ElementsAre(text(name + "65537", "pod1")));
    EXPECT_EQ(row(kVm, {1, 7, 8}, kFirstPod), "- - -");
}

TEST_F(VmModuleTest, EveryStateHasItsName) {
    const std::string kvmStates =
        "invalid,stopping,stopped,starting,running,restarting,failed,error image busy,error no kernel,"
        "error no disk image,error unsupported cpu,error vnc can't bind,error extract failed,unknown,unknown,";
    const std::string podStates = "disabled,stopped,booting,running,rebooting,shuttingdown,importing,unknown,unknown,";
    const auto states = [this](TableOwner& guests, tn::u32_id field, const std::string& index, uint32_t count) {
        std::string all;
        for (uint32_t state = 0; state < count; ++state) {
            guests.row(1).insert_u32(field, state);
            all += value(kVm + "6." + index) + ",";
        }
        return all;
    };
    EXPECT_EQ(states(kvm, virtual_machines::State, kFirstKvm, 15), kvmStates);
    EXPECT_EQ(states(podhost, podhost_guests::State, kFirstPod, 9), podStates);
    kvm.row(1).insert_u32(virtual_machines::State, 0xffffffff);
    EXPECT_EQ(value(kVm + "6." + kFirstKvm), "unknown");
}

TEST_F(VmModuleTest, AGuestsConfigurationIsOneText) {
    const std::tuple<const char*, const char*, const char*, bool, const char*> cases[] = {
        {"disk", "kernel", "args", false, "disk kernel args "},
        {"disk", "kernel", "args", true, "disk kernel args [snapshot]"},
        {"", "", "", true, "[snapshot]"},
        {"", "", "", false, "''"},
        {"disk ", "", "args", false, "disk args "},
        {"", "kernel", "", true, "kernel [snapshot]"},
    };
    for (const auto& [disk, kernel, args, snapshot, config] : cases) {
        put(kvm.row(1), {{virtual_machines::Disk, disk},
                         {virtual_machines::Kernel, kernel},
                         {virtual_machines::Initrd, args},
                         {virtual_machines::HasSnapshot, snapshot}});
        EXPECT_EQ(value(kVm + "3." + kFirstKvm), config);
    }
}

TEST_F(VmModuleTest, SizesAndRemarks) {
    put(kvm.row(1),
        {{virtual_machines::Memory, 4096U}, {virtual_machines::Processors, 8U}, {tn::field::Comment, "build machine"}});
    podhost.row(1).insert_u32(podhost_guests::Memory, 256);
    EXPECT_EQ(row(kVm, {2, 3, 4, 5, 9}, kFirstKvm), "'' '' build machine 4096 8");
    EXPECT_EQ(row(kVm, {3, 4, 5, 9}, kFirstPod), "podhost '' 256 1");
}

}  // namespace
}  // namespace snmp
