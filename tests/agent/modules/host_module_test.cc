#include "agent/modules/host_module.h"

#include <cstdlib>
#include <ctime>

#include "contracts/disks.h"
#include "contracts/system.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

namespace system_time = contracts::system_time;

const std::string kHost = "1.3.6.1.2.1.25.";
const std::string kDate = kHost + "1.2.0";

class HostModuleTest : public AgentTest {
  protected:
    HostModuleTest() {
        opensCommon();
        owner(system_time::kPath).reply.insert_u32(system_time::Seconds, 1'700'000'000);
        agent->addHandler(contracts::disks::kPath, &disks);
        start_host_module();
    }
    TableOwner disks;
};

TEST_F(HostModuleTest, ADateCarriesTheOffsetFromUtc) {
    setenv("TZ", "UTC0", 1);
    tzset();
    const auto date = [&](int32_t offset) {
        owner(system_time::kPath).reply.insert_u32(system_time::Offset, static_cast<uint32_t>(offset));
        return value(kDate);
    };
    EXPECT_EQ(date(0), "07 E7 0B 0E 16 0D 14 00 2B 00 00");
    EXPECT_EQ(date(-5400).substr(24), "2D 01 1E");
    EXPECT_EQ(date(20700).substr(24), "2B 05 2D");
    setenv("TZ", "EAST-2", 1);  // as the administrator changes /etc/localtime under the running agent
    EXPECT_EQ(date(7200), "07 E7 0B 0F 00 0D 14 00 2B 02 00");
    setenv("TZ", "UTC0", 1);
}

TEST_F(HostModuleTest, DisksWithoutANameOrSizesAreListed) {
    disks.row(4);
    EXPECT_EQ(row(kHost + "2.3.1.", {1, 2, 3, 4, 5, 6, 7}, "131076"), "131076 1.3.6.1.2.1.25.2.1.4 disk 1024 0 0 0");
}

}  // namespace
}  // namespace snmp
