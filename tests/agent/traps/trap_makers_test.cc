#include "agent/traps/trap_makers.h"

#include "agent/ber/tags.h"
#include "agent/traps/trap_generators.h"
#include "agent/traps/trap_handler.h"
#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

class TrapMakersTest : public AgentTest {
  protected:
    TrapMakersTest() { trapMakers.push_back(alderTrapMaker); }

    static tn::message asked(const Fields& fields) {
        tn::message m = messageOf({{tn::field::Command, contracts::snmp::trap::kSend}});
        return put(m, fields);
    }
};

TEST_F(TrapMakersTest, ATrapAskedForHasItsVarbindWhenAllOfItIsThere) {
    namespace send = contracts::snmp::trap;
    const Field name{send::Oid, "1.3.6.1.4.1.49999.1"}, integer{send::Type, 2U}, five{send::Value, "5"};
    const std::pair<tn::message, size_t> cases[] = {
        {asked({name, integer, five}), 1},
        {asked({name, {send::Type, 4U}, {send::Value, ""}}), 1},
        {asked({name, {send::Type, 5U}}), 1},
        {asked({name, integer}), 0},
        {asked({name, five}), 0},
        {asked({integer, five}), 0}};  // of these types only a NULL needs no value
    for (const auto& [message, bindings] : cases) {
        const auto trap = makeTrap(message);
        ASSERT_TRUE(trap) << message;
        EXPECT_EQ(trap->oid, OID("1.3.6.1.4.1.49999.1.1.9"));
        EXPECT_EQ(std::pair(trap->generic, trap->specific), std::pair(6U, 1U));
        ASSERT_EQ(trap->bindings.size(), bindings) << message;
    }
    EXPECT_FALSE(makeTrap(messageOf({{tn::field::Command, tn::cmd::Changed}})));
}

TEST_F(TrapMakersTest, TheFirstThatKnowsTheMessageMakesTheTrapAndAlone) {
    const TrapMaker leavesHalf = [](auto& bindings, const tn::message&, OID& oid, unsigned& generic, unsigned&) {
        bindings.push_back({OID("1.2.3"), tag::Null, ""});
        oid = OID("1.2.3");
        generic = 5;
        return false;
    };
    trapMakers.insert(trapMakers.begin(), leavesHalf);
    trapMakers.push_back(startupTrapMaker);
    EXPECT_EQ(makeTrap(asked({}))->specific, 1U);
    const auto other = makeTrap({});
    ASSERT_TRUE(other);
    EXPECT_EQ(std::tuple(other->oid, other->generic, other->bindings.size()),
              std::tuple(OID("1.3.6.1.6.3.1.1.5.2"), 1, 0));
}

TEST_F(TrapMakersTest, ReadersMayListGeneratorsAndSendNoTraps) {
    scribers.push_back({"interfaces", [] {}, [] {}});
    tn::message request = tn::request(std::vector<uint32_t>{34, ID_TRAPS}, 100);
    std::map<uint32_t, std::string> names;
    const tn::message reply = agent->dispatchMessage(request, tn::right::Monitor);
    for (const tn::message& m : reply.get_message_array(tn::field::Objects))
        names[m.get_u32(tn::field::ObjectId, 7)] = m.get_string(tn::field::Name);
    EXPECT_EQ(names, (std::map<uint32_t, std::string>{{0, "interfaces"}, {0xabc0001, "start-trap"}}));
    agent->init();
    uint32_t code = 0;
    const tn::message send = tn::request(agent->path(), contracts::snmp::trap::kSend);
    EXPECT_TRUE(tn::isError(agent->dispatchMessage(send, tn::right::Reading), &code));
    EXPECT_EQ(code, tn::error::NotPermitted);
    request.insert_u32(tn::field::Command, 101);
    EXPECT_TRUE(agent->dispatchMessage(request).empty());
}

}  // namespace
}  // namespace snmp
