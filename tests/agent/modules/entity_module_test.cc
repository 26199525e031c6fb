#include "agent/modules/entity_module.h"

#include <gmock/gmock.h>

#include <fstream>

#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

const std::string kEntity = "1.3.6.1.2.1.47.1.1.1.1.";
const std::string kAlias = kEntity + "14.65536", kAssetId = kEntity + "15.65536";

class EntityModuleTest : public AgentTest {
  protected:
    EntityModuleTest() {
        opensCommon(true);
        agent->addHandler(std::vector<uint32_t>{24, 5}, &pci);
        agent->addHandler(std::vector<uint32_t>{24, 6}, &usb);
        tn::message& system = owner({24, 2}).reply;
        system.insert_string(22, "x86_64");
        system.insert_string(25, "Linux 6");
        system.insert_string(4, "board");
    }
    /// A row of which each text names its field.
    static tn::message& device(TableOwner& table, uint32_t id, const std::string& kind) {
        tn::message& m = table.row(id);
        for (uint32_t field = 1; field <= 9; ++field) m.insert_string(field, kind + std::to_string(field));
        return m;
    }
    std::vector<std::string> row(uint32_t index) {
        std::vector<std::string> values;
        for (unsigned column = 1; column <= 16; ++column)
            values.push_back(value(kEntity + std::to_string(column) + "." + std::to_string(index)));
        return values;
    }
    std::string storeFile() { return tn::rooted("/tern/store/snmp_entity"); }
    void agentStartsAgain() {
        restart();
        agent->addHandler(std::vector<uint32_t>{24, 5}, &pci);
        agent->addHandler(std::vector<uint32_t>{24, 6}, &usb);
        branches.clear();
        start_entity_module();
    }
    TableOwner pci, usb;
};

TEST_F(EntityModuleTest, ChassisAndDevicesInOrder) {
    for (const uint32_t id : {3U, 0x1ffU}) device(pci, id, "pci");
    for (const uint32_t id : {0U, 7U}) device(usb, id, "usb");
    start_entity_module();
    const uint32_t absent = 0xffffffff;  // -1
    EXPECT_THAT(row(65536), ElementsAre("65536", "Tarnix x86_64 on Linux 6", "0.0", "0", "3", std::to_string(absent),
                                        "board", "", "", "", "", "", "", "", "", "2"));
    EXPECT_THAT(row(131075), ElementsAre("131075", "pci3 pci2", "0.0", "65536", "2", std::to_string(absent), "pci1", "",
                                         "", "", "", "pci4", "pci5", "", "", "2"));
    EXPECT_THAT(row(262151), ElementsAre("262151", "usb2 usb3", "0.0", "65536", "2", std::to_string(absent), "usb1", "",
                                         "", "", "usb4", "usb8", "usb9", "", "", "2"));
    for (const uint32_t repetitions : {0U, 3U, 50U}) {
        const auto all = walk("1.3.6.1.2.1.47", repetitions);
        ASSERT_THAT(all, SizeIs(5 * 16));
        const uint32_t indexes[] = {65536, 131075, 131583, 262144, 262151};
        for (size_t i = 0; i < 5; ++i) EXPECT_EQ(all[i].value, std::to_string(indexes[i]));
    }
}

TEST_F(EntityModuleTest, AliasAndAssetIdOutliveTheAgent) {
    start_entity_module();
    EXPECT_EQ(set({text(kAlias, "core")}).errorStatus, 0U);
    EXPECT_EQ(set({text(kAssetId, std::string("A\0\xff", 3))}).errorStatus, 0U);
    agentStartsAgain();
    EXPECT_EQ(value(kAlias), "core");
    EXPECT_EQ(value(kAssetId), std::string("A\0\xff", 3));
    EXPECT_EQ(set({text(kAlias, "")}).errorStatus, 0U);
    agentStartsAgain();
    EXPECT_EQ(value(kAlias), "");
    EXPECT_EQ(value(kAssetId), std::string("A\0\xff", 3));
}

TEST_F(EntityModuleTest, OnlyTheChassisIsWritten) {
    device(pci, 3, "pci");
    start_entity_module();
    (void)set({text(kEntity + "14.131075", "mine")});
    EXPECT_EQ(value(kEntity + "14.131075"), "");
    EXPECT_EQ(value(kAlias), "");
    EXPECT_EQ(set({text(kEntity + "14.65537", "mine")}).errorStatus, 2U);
}

TEST_F(EntityModuleTest, ADamagedStoreIsLeftAsItIs) {
    const std::string junk(8192, 'x');
    start_entity_module();
    std::ofstream(storeFile()) << junk;
    EXPECT_EQ(value(kAlias), "");
    (void)set({text(kAlias, "lost")});
    EXPECT_EQ(value(kAlias), "");
    agentStartsAgain();
    EXPECT_THAT(row(65536), SizeIs(16));
    std::ifstream file(storeFile());
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), junk);
}

TEST_F(EntityModuleTest, OwnersThatAreDownCostTheirOwnPart) {
    device(usb, 1, "usb");
    start_entity_module();
    owner({24, 2}).reply = tn::errorMsg(tn::error::Unreachable, "nobody there");
    pci.lies = [](const tn::message&) { return tn::errorMsg(tn::error::TimedOut, "no answer"); };
    const auto all = walk(kEntity + "2", 10);
    ASSERT_THAT(all, SizeIs(2));
    EXPECT_EQ(all[0].value, "Tarnix  on ");
    EXPECT_EQ(all[1].value, "usb2 usb3");
}

}  // namespace
}  // namespace snmp
