#include "agent/modules/health_module.h"

#include <gmock/gmock.h>

#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

const std::string kHealth = "1.3.6.1.4.1.49999.1.1.3.";

class HealthModuleTest : public AgentTest {
  protected:
    HealthModuleTest() { opensCommon(); }
    tn::message& board = owner({12, 1}).reply;
    static wire::Binding below0(const std::string& name, int value) {
        return number(name, static_cast<uint32_t>(value));
    }
};

TEST_F(HealthModuleTest, AReadingIsServedOnceItHasBeenSeen) {
    board.insert_u32(13, 121);
    start_health_module();
    EXPECT_THAT(walk(kHealth), ElementsAre(number(kHealth + "8.0", 121), text(kHealth + "9.0", "n/a")));

    board.insert_u32(14, 45);
    EXPECT_EQ(get({kHealth + "10.0"}).errorStatus, 2U);
    EXPECT_EQ(value(kHealth + "9.0"), "n/a");  // its owner is asked, and has a temperature now
    EXPECT_EQ(value(kHealth + "10.0"), "450");

    board.insert_u32(17, static_cast<uint32_t>(-20));
    (void)value(kHealth + "8.0");
    EXPECT_THAT(walk(kHealth), ElementsAre(number(kHealth + "8.0", 121), text(kHealth + "9.0", "n/a"),
                                           number(kHealth + "10.0", 450), below0(kHealth + "11.0", -200)));
}

TEST_F(HealthModuleTest, WhatWasServedOnceStaysWithItsDefault) {
    for (const uint32_t field : {13U, 14U, 17U}) board.insert_u32(field, 30);
    start_health_module();
    for (const tn::message& gone : {tn::message(), tn::errorMsg(tn::error::Unreachable, "nobody there")}) {
        board = gone;
        EXPECT_THAT(walk(kHealth), ElementsAre(number(kHealth + "8.0", 0), text(kHealth + "9.0", "n/a"),
                                               below0(kHealth + "10.0", -2730), below0(kHealth + "11.0", -2730)));
    }
}

TEST_F(HealthModuleTest, PowerSuppliesHaveNames) {
    board = tn::errorMsg(tn::error::Unreachable, "nobody there");  // as the agent starts
    start_health_module();
    EXPECT_THAT(walk(kHealth), SizeIs(1));
    board = tn::message();
    const std::pair<uint32_t, const char*> names[] = {{0, "aux"}, {1, "main"}, {2, "none"}, {3, "n/a"}, {42, "n/a"}};
    for (const auto& [supply, name] : names) {
        board.insert_u32(12, supply);
        EXPECT_EQ(value(kHealth + "9.0"), name);
    }
}

}  // namespace
}  // namespace snmp
