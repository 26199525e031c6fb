#include "agent/modules/system_module.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

using testing::ElementsAre;

class SystemModuleTest : public AgentTest {
  protected:
    SystemModuleTest() {
        opensCommon(true);
        tn::message& info = owner({24, 2}).reply;
        info.insert_u32(1, 12345);
        info.insert_u32(2, 2000000);
        info.insert_u32(3, 500000);
        info.insert_string(25, "Linux 6");
        owner({24, 1}).reply.insert_string(12, "router1");
        owner({24, 0}).reply.insert_u32(7, 1700000000);
    }
    std::string value(const std::string& name) {
        const wire::Message reply = get({name});
        return reply.errorStatus == 0 ? reply.bindings.at(0).value : "error " + std::to_string(reply.errorStatus);
    }
};

TEST_F(SystemModuleTest, TheSystemGroupIsWalkedInTheMibsOrder) {
    start_system_module();
    std::string name = "1.3.6.1.2.1.1";
    std::vector<std::string> seen;
    for (wire::Message reply = next({name}); reply.bindings[0].name.starts_with("1.3.6.1.2.1.1.");
         reply = next({name})) {
        name = reply.bindings[0].name;
        seen.push_back(reply.bindings[0].value);
    }
    EXPECT_THAT(seen, ElementsAre("Tarnix Linux 6", "1.3.6.1.4.1.49999.1", "1234500", "", "router1", "", "78"));
    EXPECT_EQ(value("1.3.6.1.2.1.25.1.1.0"), "1234500");
    EXPECT_EQ(value("1.3.6.1.2.1.25.2.2.0"), "2000000");
}

TEST_F(SystemModuleTest, ContactAndLocationAreTheSettingsAndCanBeWritten) {
    start_system_module();
    EXPECT_EQ(set({text("1.3.6.1.2.1.1.4.0", "noc"), text("1.3.6.1.2.1.1.6.0", "rack 4")}).errorStatus, 0U);
    EXPECT_EQ(value("1.3.6.1.2.1.1.4.0"), "noc");
    EXPECT_EQ(agent->settings().location, "rack 4");
    restart();
    EXPECT_EQ(value("1.3.6.1.2.1.1.4.0"), "noc");
}

TEST_F(SystemModuleTest, ADateCarriesTheOffsetFromUtc) {
    setenv("TZ", "UTC0", 1);
    tzset();
    start_system_module();
    const auto date = [&](int32_t offset) {
        owner({24, 0}).reply.insert_u32(27, static_cast<uint32_t>(offset));
        return value("1.3.6.1.2.1.25.1.2.0");
    };
    EXPECT_EQ(date(0), std::string("\x07\xE7\x0B\x0E\x16\x0D\x14\x00+\x00\x00", 11));
    EXPECT_EQ(date(-5400).substr(8), std::string("-\x01\x1E", 3));
    EXPECT_EQ(date(20700).substr(8), std::string("+\x05\x2D", 3));
}

TEST_F(SystemModuleTest, AMissingOwnerServesDefaults) {
    for (const auto& path : {std::vector<uint32_t>{24, 2}, {24, 1}, {24, 0}})
        owner(path).reply = tn::errorMsg(tn::error::Unreachable, "nobody there");
    start_system_module();
    EXPECT_EQ(value("1.3.6.1.2.1.1.1.0"), "Tarnix ");
    EXPECT_EQ(value("1.3.6.1.2.1.1.3.0"), "0");
    EXPECT_EQ(value("1.3.6.1.2.1.1.5.0"), "");
    EXPECT_EQ(value("1.3.6.1.2.1.25.1.2.0").size(), 11U);
}

TEST_F(SystemModuleTest, WritingTheControlsReachesTheirOwners) {
    start_system_module();
    ScriptedOwner& info = owner({24, 2});
    ScriptedOwner& reboot = owner({24});
    ScriptedOwner& usb = owner({99, 6});
    info.requests.clear();
    EXPECT_EQ(value("1.3.6.1.4.1.49999.1.1.7.1.0"), "0");
    (void)set({number("1.3.6.1.4.1.49999.1.1.7.1.0", 0)});
    EXPECT_TRUE(reboot.requests.empty());
    EXPECT_EQ(info.requests.back().get_u32(tn::field::Command), tn::cmd::Set);
    (void)set({number("1.3.6.1.4.1.49999.1.1.7.1.0", 1), number("1.3.6.1.4.1.49999.1.1.7.2.0", 3)});
    ASSERT_EQ(reboot.requests.size(), 1U);
    EXPECT_EQ(reboot.requests[0].get_u32(tn::field::Command), tn::cmd::Reboot);
    ASSERT_EQ(usb.requests.size(), 1U);
    EXPECT_EQ(usb.requests[0].get_u32(1), 3U);
}

TEST_F(SystemModuleTest, StorageIsMemoryAndThenTheDisks) {
    TableOwner disks;
    agent->addHandler(std::vector<uint32_t>{79, 2}, &disks);
    disks.row(3).insert_string(1, "/");
    disks.row(3).insert_u32(5, 1000);
    disks.row(3).insert_u32(6, 400);
    disks.row(4);
    start_system_module();
    const std::string entry = "1.3.6.1.2.1.25.2.3.1.";
    EXPECT_EQ(next({entry + "1"}).bindings[0].value, "65536");
    EXPECT_EQ(next({entry + "1.65536"}).bindings[0].value, "131075");
    const std::pair<const char*, const char*> expected[] = {{"2.65536", "1.3.6.1.2.1.25.2.1.1"},
                                                            {"3.65536", "main memory"},
                                                            {"5.65536", "2000000"},
                                                            {"6.65536", "1500000"},
                                                            {"2.131075", "1.3.6.1.2.1.25.2.1.4"},
                                                            {"3.131075", "disk: /"},
                                                            {"3.131076", "disk"},
                                                            {"4.131075", "1024"},
                                                            {"5.131075", "1000"},
                                                            {"6.131075", "600"},
                                                            {"7.131075", "0"}};
    for (const auto& [name, text] : expected) EXPECT_EQ(value(entry + name), text) << name;
}

TEST_F(SystemModuleTest, ScriptsRunAndAreRenamed) {
    TableOwner scripts;
    agent->addHandler(std::vector<uint32_t>{48, 101}, &scripts);
    scripts.row(2).insert_string(102, "backup");
    start_system_module();
    const std::string entry = "1.3.6.1.4.1.49999.1.1.8.1.1.";
    EXPECT_EQ(value(entry + "2.2"), "backup");
    EXPECT_EQ(value(entry + "3.2"), "0");
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
    neighbors.row(1).insert_be32(1, 0xc0000201);
    neighbors.row(1).insert_raw(2, std::vector<uint8_t>{1, 2, 3, 4, 5, 6});
    const std::pair<uint32_t, const char*> texts[] = {{7, "id"}, {8, "platform"}, {6, "version"}, {11, "port"}};
    for (const auto& [field, text] : texts) neighbors.row(1).insert_string(field, text);
    tn::message cpu;
    cpu.insert_u32(tn::field::ObjectId, 1);
    cpu.insert_u32(9, 42);
    owner({24, 2}).reply.insert_message_array(tn::field::Objects, {cpu});
    start_system_module();
    EXPECT_EQ(value("1.3.6.1.2.1.25.3.3.1.2.1"), "42");
    EXPECT_EQ(value("1.3.6.1.2.1.25.3.2.1.2.1"), "1.3.6.1.2.1.25.3.1.3");
    const std::string entry = "1.3.6.1.4.1.49999.1.1.11.1.1.";
    const std::string columns[] = {{"\xc0\0\2\1", 4}, "\1\2\3\4\5\6", "id", "platform", "version", "port"};
    for (uint32_t i = 0; i < 6; ++i) EXPECT_EQ(value(entry + std::to_string(i + 2) + ".1"), columns[i]);
}

TEST_F(SystemModuleTest, AMarkerFileAtStartHidesTheVendorsOid) {
    const std::string marker = tn::rooted("/etc/snmp_no_sysObjectID");
    std::filesystem::create_directories(std::filesystem::path(marker).parent_path());
    std::ofstream{marker};
    start_system_module();
    std::filesystem::remove(marker);
    EXPECT_EQ(value("1.3.6.1.2.1.1.2.0"), "0.0");
}

}  // namespace
}  // namespace snmp
