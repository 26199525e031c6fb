#include "agent/modules/system_module.h"

#include <filesystem>
#include <fstream>

#include "agent/mib/request_writes.h"
#include "agent/modules/vendor_module.h"
#include "agent/system/settings.h"
#include "contracts/supervisor.h"
#include "contracts/system.h"
#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

namespace identity = contracts::identity;
namespace system = contracts::system;
namespace system_info = contracts::system_info;

const std::string kSystem = "1.3.6.1.2.1.1.";
const std::string kContact = kSystem + "4.0", kLocation = kSystem + "6.0";

class SystemModuleTest : public AgentTest {
  protected:
    SystemModuleTest() { opensCommon(true); }
};

TEST_F(SystemModuleTest, TheSystemGroupHasDefaultsWithoutItsOwners) {
    for (const auto& path : {identity::kPath, system_info::kPath})
        owner(path).reply = tn::errorMsg(tn::error::Unreachable, "no owner");
    start_system_module();
    EXPECT_EQ(shown(walk("1.3.6.1.2.1.1")), "Tarnix  1.3.6.1.4.1.49999.1 0 '' '' '' 78");
    branches.clear();
    owner(system_info::kPath).reply = messageOf({{system_info::Uptime, 12'345U}, {system_info::Version, "Linux 6"}});
    owner(identity::kPath).reply = messageOf({{identity::Name, "router1"}});
    start_system_module();
    EXPECT_EQ(shown(walk("1.3.6.1.2.1.1")), "Tarnix Linux 6 1.3.6.1.4.1.49999.1 1234500 '' router1 '' 78");
}

TEST_F(SystemModuleTest, AMarkerFileAtStartHidesTheVendorsOid) {
    std::filesystem::create_directories(tn::rooted("/etc"));
    std::ofstream{tn::rooted("/etc/snmp_no_sysObjectID")};
    start_system_module();
    EXPECT_EQ(value(kSystem + "2.0"), "0.0");
}

TEST_F(SystemModuleTest, TheSetsOfARequestAreOneChangeAndWhatChangesNothingIsNone) {
    start_system_module();
    const ScriptedOwner& supervisor = owner(contracts::supervisor::kPath);
    const auto written = [] { return std::filesystem::file_size(tn::rooted("/tern/store/snmpd-wal")); };
    std::vector<wire::Binding> sets = {text(kLocation, "rack 4")};
    for (int i = 0; i < 100; ++i) sets.push_back(text(kContact, std::to_string(i)));
    {
        const RequestWrites request;
        EXPECT_EQ(shown(set(sets).bindings).substr(0, 12), "rack 4 0 1 2");
        EXPECT_TRUE(supervisor.requests.empty());
    }
    ASSERT_EQ(supervisor.requests.size(), 1U);
    EXPECT_EQ(values({kContact, kLocation}), "99 rack 4");
    EXPECT_EQ(supervisor.requests[0].get_message(tn::undo::Old).get_string(setting::Contact, "x"), "");

    const auto before = written();
    (void)set({text(kContact, "99"), number(kContact, 5), text(kLocation, "rack 4")});
    EXPECT_EQ(written(), before);
    EXPECT_EQ(supervisor.requests.size(), 1U);
    {
        const RequestWrites request;  // a restart of the machine doesn't lose what was set before it
        start_vendor_module();
        (void)owner(system::kPath);
        (void)set({text(kContact, "last"), number("1.3.6.1.4.1.49999.1.1.7.1.0", 1), text(kLocation, "moved")});
        EXPECT_EQ(agent->settings().get(setting::Contact) + agent->settings().get(setting::Location), "lastrack 4");
    }
    restart();
    EXPECT_EQ(values({kContact, kLocation}), "last moved");
}

}  // namespace
}  // namespace snmp
