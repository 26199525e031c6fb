#include "agent/modules/host_module.h"

#include <cstdlib>
#include <ctime>

#include "contracts/disks.h"
#include "contracts/system.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

namespace system_info = contracts::system_info;
namespace system_time = contracts::system_time;

const std::string kHost = "1.3.6.1.2.1.25.";
const std::string kDate = kHost + "1.2.0";

class HostModuleTest : public AgentTest {
  protected:
    HostModuleTest() {
        opensCommon();
        put(owner(system_info::kPath).reply, {{system_info::Uptime, 12'345U}, {system_info::MemoryFree, 500'000U}});
        owner(system_info::kPath).reply.insert_u32(system_info::MemoryTotal, 2'000'000);
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

TEST_F(HostModuleTest, StorageIsMemoryAndThenTheDisks) {
    namespace disk = contracts::disks;
    put(disks.row(3), {{disk::MountPoint, "/"}, {disk::Size, 1000U}, {disk::Free, 400U}});
    disks.row(4);
    const std::string entry = kHost + "2.3.1.";
    EXPECT_EQ(values({kHost + "1.1.0", kHost + "2.2.0"}), "1234500 2000000");
    EXPECT_EQ(shown(walk(entry + "1")), "65536 131075 131076");
    EXPECT_EQ(row(entry, {2, 3, 5, 6}, "65536"), "1.3.6.1.2.1.25.2.1.1 main memory 2000000 1500000");
    EXPECT_EQ(row(entry, {2, 3, 4, 5, 6, 7}, "131075"), "1.3.6.1.2.1.25.2.1.4 disk: / 1024 1000 600 0");
    EXPECT_EQ(row(entry, {3}, "131076"), "disk");
}

}  // namespace
}  // namespace snmp
