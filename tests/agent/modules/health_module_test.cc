#include "agent/modules/health_module.h"

#include "contracts/health.h"
#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

namespace health = contracts::health;

const std::string kHealth = "1.3.6.1.4.1.49999.1.1.3.";

class HealthModuleTest : public AgentTest {
  protected:
    HealthModuleTest() { opensCommon(); }
    tn::message& board = owner(health::kPath).reply;
};

TEST_F(HealthModuleTest, AReadingIsServedOnceItHasBeenSeenAndThenKeepsItsDefault) {
    board.insert_u32(health::Voltage, 121);
    start_health_module();
    EXPECT_EQ(shown(walk(kHealth)), "121 n/a");
    board.insert_u32(health::BoardTemperature, 45);
    EXPECT_EQ(value(kHealth + "10.0"), "error 2");
    EXPECT_EQ(value(kHealth + "9.0"), "n/a");  // queries the owner, which has a temperature now
    EXPECT_EQ(value(kHealth + "10.0"), "450");
    board.insert_u32(health::ProcessorTemperature, static_cast<uint32_t>(-20));
    board.insert_u32(health::PowerSupply, 0);
    (void)value(kHealth + "8.0");
    EXPECT_EQ(shown(walk(kHealth)), "121 aux 450 -200");
    for (const tn::message& gone : {tn::message(), tn::errorMsg(tn::error::Unreachable, "no owner")}) {
        board = gone;
        EXPECT_EQ(shown(walk(kHealth)), "0 n/a -2730 -2730");
    }
}

}  // namespace
}  // namespace snmp
