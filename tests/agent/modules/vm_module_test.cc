#include "agent/modules/vm_module.h"

#include <gmock/gmock.h>

#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

using testing::ElementsAre;

const std::string kVm = "1.3.6.1.4.1.6876.2.1.1.";

class VmModuleTest : public AgentTest {
  protected:
    VmModuleTest() {
        opensCommon();
        agent->addHandler(std::vector<uint32_t>{112, 1}, &kvm);
        agent->addHandler(std::vector<uint32_t>{109, 1}, &podhost);
        start_vm_module();
    }
    std::string of(uint32_t column, uint32_t index) {
        return value(kVm + std::to_string(column) + "." + std::to_string(index));
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
    for (const uint32_t column : {1U, 7U, 8U})
        EXPECT_EQ(get({kVm + std::to_string(column) + ".65537"}).bindings[0].tag, tag::NoSuchInstance);
}

TEST_F(VmModuleTest, EveryStateHasItsName) {
    const std::vector<std::string> kvmStates = {"invalid",
                                                "stopping",
                                                "stopped",
                                                "starting",
                                                "running",
                                                "restarting",
                                                "failed",
                                                "error image busy",
                                                "error no kernel",
                                                "error no disk image",
                                                "error unsupported cpu",
                                                "error vnc can't bind",
                                                "error extract failed",
                                                "unknown",
                                                "unknown"};
    const std::vector<std::string> podStates = {"disabled",     "stopped",   "booting", "running", "rebooting",
                                                "shuttingdown", "importing", "unknown", "unknown"};
    for (uint32_t state = 0; state < kvmStates.size(); ++state) {
        kvm.row(1).insert_u32(5, state);
        EXPECT_EQ(of(6, 131073), kvmStates[state]);
    }
    for (uint32_t state = 0; state < podStates.size(); ++state) {
        podhost.row(1).insert_u32(2, state);
        EXPECT_EQ(of(6, 65537), podStates[state]);
    }
    kvm.row(1).insert_u32(5, 0xffffffff);
    EXPECT_EQ(of(6, 131073), "unknown");
}

TEST_F(VmModuleTest, AGuestsConfigurationIsOneText) {
    struct Case {
        const char* parts[3];
        bool snapshot;
        const char* config;
    };
    const Case cases[] = {
        {{"disk", "kernel", "args"}, false, "disk kernel args "},
        {{"disk", "kernel", "args"}, true, "disk kernel args [snapshot]"},
        {{"", "", ""}, true, "[snapshot]"},
        {{"", "", ""}, false, ""},
        {{"disk ", "", "args"}, false, "disk args "},
        {{"", "kernel", ""}, true, "kernel [snapshot]"},
    };
    for (const Case& c : cases) {
        tn::message& m = kvm.row(1);
        for (uint32_t i = 0; i < 3; ++i) m.insert_string(2 + i, c.parts[i]);
        m.insert_bool(12, c.snapshot);
        EXPECT_EQ(of(3, 131073), c.config);
    }
    EXPECT_EQ(of(2, 131073), "");
}

TEST_F(VmModuleTest, SizesAndRemarks) {
    kvm.row(1).insert_u32(7, 4096);
    kvm.row(1).insert_u32(6, 8);
    kvm.row(1).insert_string(tn::field::Comment, "build machine");
    podhost.row(1).insert_u32(1, 256);
    podhost.row(1).insert_u32(6, 8);
    EXPECT_EQ(of(5, 131073) + " " + of(9, 131073) + " " + of(4, 131073), "4096 8 build machine");
    EXPECT_EQ(of(5, 65537) + " " + of(9, 65537) + " " + of(3, 65537) + of(4, 65537), "256 1 podhost");
}

}  // namespace
}  // namespace snmp
