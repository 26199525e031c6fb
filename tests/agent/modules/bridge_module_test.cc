#include "agent/modules/bridge_module.h"

#include <gmock/gmock.h>

#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kAddress = "1.3.6.1.2.1.17.1.1.0", kPriority = "1.3.6.1.2.1.17.2.2.0";
const std::string kFdb = "1.3.6.1.2.1.17.4.3.1.";

class BridgeModuleTest : public AgentTest {
  protected:
    BridgeModuleTest() {
        opensCommon();
        hosts.keyFields = {tn::u32_id{5}, tn::raw_id{2}};
        agent->addHandler(std::vector<uint32_t>{20, 0}, &interfaces);
        agent->addHandler(std::vector<uint32_t>{16, 3}, &hosts);
        start_bridge_module();
    }
    void hasInterface(uint32_t id, uint32_t kind) {
        tn::message& m = interfaces.row(id);
        m.insert_u32(0x10001, kind);
        m.insert_u32(2, 0x8000 + id);
        m.insert_raw(1001, mac(id));
    }
    void hasHost(uint32_t bridge, uint32_t last, uint32_t port, bool local = false) {
        tn::message& m = hosts.row(bridge << 16 | last);
        m.insert_u32(1, port);
        m.insert_raw(2, mac(last));
        if (local) m.insert_bool(4, true);
        m.insert_u32(5, bridge);
    }
    static std::vector<uint8_t> mac(uint32_t last) {
        return {2, 0, 0, 0, static_cast<uint8_t>(last >> 8), static_cast<uint8_t>(last)};
    }
    static std::string at(uint32_t last) {
        return ".2.0.0.0." + std::to_string(last >> 8) + "." + std::to_string(last & 0xff);
    }
    TableOwner interfaces, hosts;
};

TEST_F(BridgeModuleTest, WithoutABridgeThereIsNothing) {
    hasInterface(1, 1);
    hasHost(2, 1, 3);
    EXPECT_EQ(get({kAddress}).errorStatus, 2U);
    EXPECT_EQ(get({kPriority}).errorStatus, 2U);
    EXPECT_THAT(walk(kFdb), IsEmpty());
    EXPECT_EQ(value("1.3.6.1.2.1.17.2.1.0"), "3");
}

TEST_F(BridgeModuleTest, OnlyTheFirstBridgeIsServed) {
    for (uint32_t id = 1; id <= 100; ++id) hasInterface(id, id == 70 || id == 80 ? 12 : 1);
    hasHost(70, 1, 5, /*local=*/true);
    hasHost(70, 300, 6);
    for (uint32_t host = 0; host < 600; ++host) hasHost(80, host, 9);
    EXPECT_EQ(value(kAddress), std::string("\2\0\0\0\0\x46", 6));
    EXPECT_EQ(value(kPriority), std::to_string(0x8000 + 70));
    for (const uint32_t repetitions : {0U, 50U}) {
        EXPECT_THAT(walk("1.3.6.1.2.1.17.4", repetitions),
                    ElementsAre(text(kFdb + "1" + at(1), std::string("\2\0\0\0\0\1", 6)),
                                text(kFdb + "1" + at(300), std::string("\2\0\0\0\1\x2c", 6)),
                                number(kFdb + "2" + at(1), 5), number(kFdb + "2" + at(300), 6),
                                number(kFdb + "3" + at(1), 4), number(kFdb + "3" + at(300), 3)));
    }
    EXPECT_EQ(get({kFdb + "2" + at(2)}).bindings[0].tag, tag::NoSuchInstance);  // of the other bridge
    EXPECT_EQ(next({kFdb + "2.2.0.0"}).bindings[0].value, "5");
    hosts.requests.clear();
    EXPECT_EQ(next({kFdb + "1" + at(300)}).bindings[0].value, "5");
    EXPECT_EQ(hosts.requests.size(), 2U);  // behind the last row, and the first row of the next column
    hosts.requests.clear();
    EXPECT_EQ(next({kFdb + "2.2.0.0.0.0.256"}).bindings[0].value, "6");
    EXPECT_EQ(hosts.requests.at(0).get_message(tn::field::Key).get_raw(2), mac(0xff));  // not from the start on
}

TEST_F(BridgeModuleTest, AfterTheFirstBridgeHasGoneTheNextIsServed) {
    hasInterface(2, 12);
    hasInterface(3, 12);
    hasHost(2, 1, 5);
    hasHost(3, 2, 6);
    EXPECT_THAT(walk(kFdb + "2"), ElementsAre(number(kFdb + "2" + at(1), 5)));
    interfaces.loses(2);
    hosts.loses(2 << 16 | 1);
    EXPECT_THAT(walk(kFdb + "2"), ElementsAre(number(kFdb + "2" + at(2), 6)));
    EXPECT_EQ(value(kPriority), std::to_string(0x8003));
}

TEST_F(BridgeModuleTest, WhichBridgeIsFirstIsKeptForAWhile) {
    for (uint32_t id = 1; id <= 100; ++id) hasInterface(id, id == 70 ? 12 : 1);
    EXPECT_EQ(value(kPriority), std::to_string(0x8000 + 70));
    interfaces.requests.clear();
    interfaces.row(70).insert_u32(2, 5);
    EXPECT_EQ(value(kPriority), "5");
    ASSERT_EQ(interfaces.requests.size(), 1U);  // however many links there are
    EXPECT_EQ(interfaces.requests[0].get_u32(tn::field::Continue), 70U);
    EXPECT_EQ(interfaces.requests[0].get_u32(tn::field::MaxObjects), 1U);

    hasInterface(40, 12);
    sources.uptime += 9;
    EXPECT_EQ(value(kPriority), "5");
    sources.uptime += 1;
    EXPECT_EQ(value(kPriority), std::to_string(0x8000 + 40));
    hasInterface(40, 1);  // another link of that id
    EXPECT_EQ(value(kPriority), "5");

    // An owner that can't answer for once: its bridge isn't forgotten.
    interfaces.requests.clear();
    interfaces.lies = [](const tn::message&) { return tn::errorMsg(tn::error::TimedOut, "no answer"); };
    EXPECT_EQ(get({kPriority}).errorStatus, 2U);
    interfaces.lies = nullptr;
    EXPECT_EQ(value(kPriority), "5");
    EXPECT_EQ(interfaces.requests.size(), 2U);
}

TEST_F(BridgeModuleTest, ThatThereIsNoBridgeIsKeptForAWhile) {
    for (uint32_t id = 1; id <= 100; ++id) hasInterface(id, 1);
    EXPECT_EQ(get({kPriority}).errorStatus, 2U);
    interfaces.requests.clear();
    hasInterface(50, 12);
    EXPECT_EQ(get({kPriority}).errorStatus, 2U);
    EXPECT_THAT(walk(kFdb), IsEmpty());
    EXPECT_THAT(interfaces.requests, IsEmpty());
    sources.uptime += 10;
    EXPECT_EQ(value(kPriority), std::to_string(0x8000 + 50));
}

}  // namespace
}  // namespace snmp
