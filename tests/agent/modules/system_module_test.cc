#include "agent/modules/system_module.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "agent/mib/request_writes.h"
#include "agent/system/settings.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

class SystemModuleTest : public AgentTest {
  protected:
    SystemModuleTest() {
        opensCommon(true);
        put(owner({24, 2}).reply, {{1, 12345U}, {2, 2000000U}, {3, 500000U}, {25, "Linux 6"}});
        owner({24, 1}).reply.insert_string(12, "router1");
        owner({24, 0}).reply.insert_u32(7, 1700000000);
    }
    const std::string system = "1.3.6.1.2.1.1.", hostResources = "1.3.6.1.2.1.25.", vendor = "1.3.6.1.4.1.49999.1.1.";
};

TEST_F(SystemModuleTest, TheSystemGroupIsWalkedInTheMibsOrder) {
    start_system_module();
    EXPECT_EQ(shown(walk("1.3.6.1.2.1.1")), "Tarnix Linux 6 1.3.6.1.4.1.49999.1 1234500 '' router1 '' 78");
    EXPECT_EQ(values({hostResources + "1.1.0", hostResources + "2.2.0"}), "1234500 2000000");
}

TEST_F(SystemModuleTest, TheSetsOfARequestAreOneChangeAndWhatChangesNothingIsNone) {
    start_system_module();
    const ScriptedOwner& supervisor = owner({tn::number::Supervisor});
    const auto written = [] { return std::filesystem::file_size(tn::rooted("/tern/store/snmpd-wal")); };
    std::vector<wire::Binding> sets = {text(system + "6.0", "rack 4")};
    for (int i = 0; i < 100; ++i) sets.push_back(text(system + "4.0", std::to_string(i)));
    {
        const RequestWrites request;
        EXPECT_EQ(shown(set(sets).bindings).substr(0, 12), "rack 4 0 1 2");
        EXPECT_TRUE(supervisor.requests.empty());
    }
    ASSERT_EQ(supervisor.requests.size(), 1U);
    EXPECT_EQ(values({system + "4.0", system + "6.0"}), "99 rack 4");
    const tn::message undo = supervisor.requests[0].get_message(tn::undo::Old);
    EXPECT_EQ(undo.get_string(setting::Contact), "");

    const auto before = written();
    (void)set({text(system + "4.0", "99"), number(system + "4.0", 5), text(system + "6.0", "rack 4")});
    EXPECT_EQ(written(), before);
    EXPECT_EQ(supervisor.requests.size(), 1U);
    {
        const RequestWrites request;  // a restart of the machine doesn't lose what was set before it
        (void)owner({24});
        (void)set({text(system + "4.0", "last"), number(vendor + "7.1.0", 1), text(system + "6.0", "moved")});
        EXPECT_EQ(agent->settings().contact + agent->settings().location, "lastrack 4");
    }
    restart();
    EXPECT_EQ(values({system + "4.0", system + "6.0"}), "last moved");
}

TEST_F(SystemModuleTest, ADateCarriesTheOffsetFromUtc) {
    setenv("TZ", "UTC0", 1);
    tzset();
    start_system_module();
    const auto date = [&](int32_t offset) {
        owner({24, 0}).reply.insert_u32(27, static_cast<uint32_t>(offset));
        return value(hostResources + "1.2.0");
    };
    EXPECT_EQ(date(0), "07 E7 0B 0E 16 0D 14 00 2B 00 00");
    EXPECT_EQ(date(-5400).substr(24), "2D 01 1E");
    EXPECT_EQ(date(20700).substr(24), "2B 05 2D");
    setenv("TZ", "EAST-2", 1);  // as the administrator changes /etc/localtime under the running agent
    EXPECT_EQ(date(7200), "07 E7 0B 0F 00 0D 14 00 2B 02 00");
    setenv("TZ", "UTC0", 1);
}

TEST_F(SystemModuleTest, AMissingOwnerServesDefaults) {
    for (const auto& path : {std::vector<uint32_t>{24, 2}, {24, 1}, {24, 0}})
        owner(path).reply = tn::errorMsg(tn::error::Unreachable, "nobody there");
    start_system_module();
    EXPECT_EQ(values({system + "1.0", system + "3.0", system + "5.0"}), "Tarnix  0 ''");
    EXPECT_EQ(get({hostResources + "1.2.0"}).bindings[0].value.size(), 11U);
}

TEST_F(SystemModuleTest, WritingTheControlsReachesTheirOwners) {
    start_system_module();
    ScriptedOwner& info = owner({24, 2});
    ScriptedOwner& reboot = owner({24});
    ScriptedOwner& usb = owner({99, 6});
    info.requests.clear();
    EXPECT_EQ(value(vendor + "7.1.0"), "0");
    (void)set({number(vendor + "7.1.0", 0)});
    EXPECT_TRUE(reboot.requests.empty());
    EXPECT_EQ(info.requests.back().get_u32(tn::field::Command), tn::cmd::Set);
    (void)set({number(vendor + "7.1.0", 1), number(vendor + "7.2.0", 3)});
    ASSERT_EQ(reboot.requests.size(), 1U);
    EXPECT_EQ(reboot.requests[0].get_u32(tn::field::Command), tn::cmd::Reboot);
    ASSERT_EQ(usb.requests.size(), 1U);
    EXPECT_EQ(usb.requests[0].get_u32(1), 3U);
}

TEST_F(SystemModuleTest, StorageIsMemoryAndThenTheDisks) {
    TableOwner disks;
    agent->addHandler(std::vector<uint32_t>{79, 2}, &disks);
    put(disks.row(3), {{1, "/"}, {5, 1000U}, {6, 400U}});
    disks.row(4);
    start_system_module();
    const std::string entry = hostResources + "2.3.1.";
    EXPECT_EQ(shown(walk(entry + "1")), "65536 131075 131076");
    EXPECT_EQ(row(entry, {2, 3, 5, 6}, "65536"), "1.3.6.1.2.1.25.2.1.1 main memory 2000000 1500000");
    EXPECT_EQ(row(entry, {2, 3, 4, 5, 6, 7}, "131075"), "1.3.6.1.2.1.25.2.1.4 disk: / 1024 1000 600 0");
    EXPECT_EQ(row(entry, {3}, "131076"), "disk");
}

TEST_F(SystemModuleTest, ScriptsRunAndAreRenamed) {
    TableOwner scripts;
    agent->addHandler(std::vector<uint32_t>{48, 101}, &scripts);
    scripts.row(2).insert_string(102, "backup");
    start_system_module();
    const std::string entry = vendor + "8.1.1.";
    EXPECT_EQ(row(entry, {2, 3}, "2"), "backup 0");
    (void)set({number(entry + "3.2", 1)});
    EXPECT_EQ(scripts.requests.back().get_u32(tn::field::Command), 1U);
    EXPECT_EQ(scripts.requests.back().get_u32(tn::field::ObjectId), 2U);
    (void)set({text(entry + "2.2", "save")});
    EXPECT_EQ(scripts.requests.back().get_u32(tn::field::Command), tn::cmd::Set);
    EXPECT_EQ(scripts.requests.back().get_string(102), "save");
}

TEST_F(SystemModuleTest, ProcessorsAndNeighboursAreListed) {
    TableOwner neighbors;
    agent->addHandler(std::vector<uint32_t>{10, 1}, &neighbors);
    put(neighbors.row(1),
        {{1, Ip4{0xc0000201}}, {2, Raw{1, 2, 3, 4, 5, 6}}, {7, "id"}, {8, "platform"}, {6, "version"}, {11, "port"}});
    owner({24, 2}).reply.insert_message_array(tn::field::Objects, {messageOf({{tn::field::ObjectId, 1U}, {9, 42U}})});
    start_system_module();
    EXPECT_EQ(value(hostResources + "3.3.1.2.1"), "42");
    EXPECT_EQ(value(hostResources + "3.2.1.2.1"), "1.3.6.1.2.1.25.3.1.3");
    EXPECT_EQ(row(vendor + "11.1.1.", {2, 3, 4, 5, 6, 7}, "1"), "192.0.2.1 01 02 03 04 05 06 id platform version port");
}

TEST_F(SystemModuleTest, AMarkerFileAtStartHidesTheVendorsOid) {
    const std::string marker = tn::rooted("/etc/snmp_no_sysObjectID");
    std::filesystem::create_directories(std::filesystem::path(marker).parent_path());
    std::ofstream{marker};
    start_system_module();
    std::filesystem::remove(marker);
    EXPECT_EQ(value(system + "2.0"), "0.0");
}

}  // namespace
}  // namespace snmp
