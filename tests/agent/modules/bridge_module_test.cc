#include "agent/modules/bridge_module.h"

#include "contracts/bridge.h"
#include "contracts/interfaces.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

namespace bridge = contracts::bridge;
namespace interfaces = contracts::interfaces;

const std::string kBridgeAddress = "1.3.6.1.2.1.17.1.1.0", kBridgePriority = "1.3.6.1.2.1.17.2.2.0";
const std::string kFdb = "1.3.6.1.2.1.17.4.3.1.";

class BridgeModuleTest : public AgentTest {
  protected:
    BridgeModuleTest() {
        opensCommon();
        hosts.keyFields = {bridge::Bridge, bridge::Mac};
        agent->addHandler(interfaces::kPath, &interfaces);
        agent->addHandler(bridge::kForwardingPath, &hosts);
        start_bridge_module();
    }
    /// Interfaces 1 to `count`, of which some are bridges; a bridge's priority is its id.
    void hasInterfaces(uint32_t count, const std::set<uint32_t>& bridges) {
        namespace kind = interfaces::kind;
        for (uint32_t id = 1; id <= count; ++id)
            put(interfaces.row(id), {{interfaces::Priority, id}, {interfaces::Mac, mac(id)}})
                .insert_u32(interfaces::Kind, bridges.contains(id) ? kind::Bridge : kind::Ethernet);
    }
    void hasHost(uint32_t ofBridge, uint32_t last, uint32_t port, bool local = false) {
        put(hosts.row(ofBridge << 16 | last),
            {{bridge::Port, port}, {bridge::Mac, mac(last)}, {bridge::Local, local}, {bridge::Bridge, ofBridge}});
    }
    static Raw mac(uint32_t last) { return {2, 0, 0, 0, static_cast<uint8_t>(last >> 8), static_cast<uint8_t>(last)}; }
    static std::string at(uint32_t last) {
        return ".2.0.0.0." + std::to_string(last >> 8) + "." + std::to_string(last & 0xff);
    }
    TableOwner interfaces, hosts;
};

TEST_F(BridgeModuleTest, NothingIsServedWithoutABridgeAndTheNextAfterTheFirstHasGone) {
    hasInterfaces(1, {});
    hasHost(2, 1, 5);
    EXPECT_EQ(value(kBridgeAddress) + " " + value(kBridgePriority), "error 2 error 2");
    EXPECT_THAT(walk(kFdb), IsEmpty());
    EXPECT_EQ(value("1.3.6.1.2.1.17.2.1.0"), "3");

    hasInterfaces(3, {2, 3});
    hasHost(3, 2, 6);
    EXPECT_EQ(value(kBridgePriority) + " " + shown(walk(kFdb + "2")), "2 5");
    interfaces.loses(2);
    hosts.loses(2 << 16 | 1);
    EXPECT_EQ(value(kBridgePriority) + " " + shown(walk(kFdb + "2")), "3 6");
}

TEST_F(BridgeModuleTest, OnlyTheFirstBridgeIsServed) {
    hasInterfaces(100, {70, 80});
    hasHost(70, 1, 5, /*local=*/true);
    hasHost(70, 300, 6);
    for (uint32_t host = 0; host < 600; ++host) hasHost(80, host, 9);
    EXPECT_EQ(values({kBridgeAddress, kBridgePriority}), "02 00 00 00 00 46 70");
    for (const uint32_t repetitions : {0U, 50U})
        EXPECT_EQ(shown(walk("1.3.6.1.2.1.17.4", repetitions)), "02 00 00 00 00 01 02 00 00 00 01 2C 5 6 4 3");
    EXPECT_EQ(values({kFdb + "2" + at(300), kFdb + "2" + at(2)}), "6 -");  // the second is of the other bridge
    EXPECT_EQ(next({kFdb + "2.2.0.0"}).bindings[0].value, "5");
    hosts.requests.clear();
    EXPECT_EQ(next({kFdb + "1" + at(300)}).bindings[0].value, "5");
    EXPECT_EQ(hosts.requests.size(), 2U) << "after the last row, and the first row of the next column";
    hosts.requests.clear();
    EXPECT_EQ(next({kFdb + "2.2.0.0.0.0.256"}).bindings[0].value, "6");
    EXPECT_EQ(hosts.requests.at(0).get_message(tn::field::Key).get_raw(bridge::Mac), mac(0xff)) << "not from the start";
}

TEST_F(BridgeModuleTest, EachGetLooksForTheFirstBridgeFromTheFirstRow) {
    hasInterfaces(100, {70});
    EXPECT_EQ(value(kBridgePriority), "70");
    interfaces.row(40).insert_u32(interfaces::Kind, interfaces::kind::Bridge);
    interfaces.requests.clear();
    EXPECT_EQ(value(kBridgePriority), "40");
    ASSERT_EQ(interfaces.requests.size(), 40U);  // this owner ignores the filter for bridges
    EXPECT_EQ(interfaces.requests[0].get_u32(interfaces::Kind), interfaces::kind::Bridge);
}

}  // namespace
}  // namespace snmp
