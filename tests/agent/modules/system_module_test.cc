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
}

TEST_F(SystemModuleTest, ARecordIsFetchedOnceForARequest) {
    start_system_module();
    ScriptedOwner& info = owner(system_info::kPath);
    for (const uint32_t seconds : {7U, 8U}) {
        info.reply = messageOf({{system_info::Uptime, seconds}});
        info.requests.clear();
        const std::string hundredths = std::to_string(seconds * 100);
        EXPECT_EQ(values({kSystem + "3.0", kSystem + "7.0", kSystem + "3.0"}), hundredths + " 78 " + hundredths);
        EXPECT_EQ(shown(next({kSystem + "2.0", kSystem + "3"}).bindings), hundredths + " " + hundredths);
        EXPECT_THAT(info.requests, SizeIs(2));
    }
}

TEST_F(SystemModuleTest, AMarkerFileAtStartHidesTheVendorsOid) {
    std::filesystem::create_directories(tn::rooted("/etc"));
    std::ofstream{tn::rooted("/etc/snmp_no_sysObjectID")};
    start_system_module();
    EXPECT_EQ(value(kSystem + "2.0"), "0.0");
}

TEST_F(SystemModuleTest, SetsOfARequestAreWrittenWithItOrBeforeTheMachineRestarts) {
    start_system_module();
    start_vendor_module();
    const ScriptedOwner& supervisor = owner(contracts::supervisor::kPath);
    (void)owner(system::kPath);
    const auto written = [] { return std::filesystem::file_size(tn::rooted("/tern/store/snmpd-wal")); };
    {
        const RequestWrites request;
        EXPECT_EQ(shown(set({text(kContact, "a"), text(kContact, "noc"), text(kLocation, "rack 4")}).bindings),
                  "a noc rack 4");
        EXPECT_TRUE(supervisor.requests.empty());
    }
    ASSERT_EQ(supervisor.requests.size(), 1U);
    EXPECT_EQ(supervisor.requests[0].get_message(tn::undo::Old).get_string(setting::Contact, "x"), "");
    const auto before = written();
    (void)set({text(kContact, "noc"), number(kContact, 5), text(kLocation, "rack 4")});
    EXPECT_EQ(written(), before);
    EXPECT_EQ(supervisor.requests.size(), 1U);

    const RequestWrites request;
    (void)set({text(kContact, "last"), number("1.3.6.1.4.1.49999.1.1.7.1.0", 1), text(kLocation, "moved")});
    EXPECT_EQ(agent->settings().get(setting::Contact) + agent->settings().get(setting::Location), "lastrack 4");
}

}  // namespace
}  // namespace snmp
