#include "agent/modules/entity_module.h"

#include <filesystem>

#include "agent/mib/request_writes.h"
#include "contracts/devices.h"
#include "contracts/system.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

namespace pci_devices = contracts::pci_devices;
namespace system_info = contracts::system_info;
namespace usb_devices = contracts::usb_devices;

const std::string kEntity = "1.3.6.1.2.1.47.1.1.1.1.";
const std::string kAlias = kEntity + "14.65536", kAssetId = kEntity + "15.65536";

class EntityModuleTest : public AgentTest {
  protected:
    EntityModuleTest() {
        opensCommon(true);
        agent->addHandler(pci_devices::kPath, &pci);
        agent->addHandler(usb_devices::kPath, &usb);
        put(owner(system_info::kPath).reply,
            {{system_info::Release, "x86_64"}, {system_info::Version, "Linux 6"}, {system_info::Model, "board"}});
    }
    /// A row of which each text names its field.
    static void device(TableOwner& table, uint32_t id, const std::string& kind) {
        for (uint32_t field = 1; field <= 9; ++field)
            table.row(id).insert_string(tn::string_id(field), kind + std::to_string(field));
    }
    TableOwner pci, usb;
};

TEST_F(EntityModuleTest, ChassisAndDevicesInOrder) {
    for (const uint32_t id : {3U, 0x1ffU}) device(pci, id, "pci");
    for (const uint32_t id : {0U, 7U}) device(usb, id, "usb");
    start_entity_module();
    for (const auto& [index, columns] : std::map<std::string, std::string>{
             {"65536", "Tarnix x86_64 on Linux 6 0.0 0 3 -1 board '' '' '' '' '' '' '' '' 2"},
             {"131075", "pci3 pci2 0.0 65536 2 -1 pci1 '' '' '' '' pci4 pci5 '' '' 2"},
             {"262151", "usb2 usb3 0.0 65536 2 -1 usb1 '' '' '' usb4 usb8 usb9 '' '' 2"}})
        EXPECT_EQ(row(kEntity, {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}, index), columns) << index;
    for (const uint32_t repetitions : {0U, 3U, 50U}) {
        EXPECT_THAT(walk("1.3.6.1.2.1.47", repetitions), SizeIs(5 * 16));
        EXPECT_EQ(shown(walk(kEntity + "1", repetitions)), "65536 131075 131583 262144 262151");
    }
    EXPECT_EQ(shown(next({kEntity + "1.3", kEntity + "1.65537", kEntity + "1.131584"}).bindings),
              "65536 131075 262144");
    EXPECT_EQ(values({kEntity + "1.0", kEntity + "1.131076"}), "- -");
}

TEST_F(EntityModuleTest, AliasAndAssetIdOutliveTheAgentAndAreWrittenWhenTheyChange) {
    start_entity_module();
    const auto octetsWritten = [] { return std::filesystem::file_size(tn::rooted("/tern/store/snmp_entity-wal")); };
    (void)set({text(kAlias, "rack"), text(kAssetId, std::string("A\0\xff", 3))});
    restart();
    branches.clear();
    start_entity_module();
    EXPECT_EQ(values({kAlias, kAssetId}), "rack 41 00 FF");
    (void)set({text(kAlias, "core"), text(kAlias, "rack")});
    const auto before = octetsWritten();
    (void)set({text(kAlias, "rack"), number(kAlias, 5)});
    {
        const RequestWrites request;
        (void)set({text(kAlias, "a"), text(kAssetId, "b"), text(kAlias, "rack"), text(kAssetId, "A")});
        EXPECT_EQ(octetsWritten(), before);
    }
    EXPECT_EQ(values({kAlias, kAssetId}), "rack A");
}

TEST_F(EntityModuleTest, OnlyTheChassisIsWritten) {
    device(pci, 3, "pci");
    start_entity_module();
    (void)set({text(kEntity + "14.131075", "mine")});
    EXPECT_EQ(pci.requests.back().get_u32(tn::field::Command), tn::cmd::Set);
    EXPECT_EQ(pci.requests.back().get_u32(tn::field::ObjectId), 3U);  // as its owner knows it
    EXPECT_EQ(values({kEntity + "14.131075", kAlias}), "'' ''");
    EXPECT_EQ(set({text(kEntity + "14.65537", "mine")}).errorStatus, 2U);
}

}  // namespace
}  // namespace snmp
