#include "agent/traps/interface_traps.h"

#include "agent/traps/trap_generators.h"
#include "agent/traps/trap_makers.h"
#include "contracts/interfaces.h"
#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

namespace interfaces = contracts::interfaces;

class InterfaceTrapsTest : public AgentTest {
  protected:
    static tn::message notification(uint32_t id, uint32_t status) {
        return messageOf({{tn::field::Command, interfaces::kStatusChanged},
                          {tn::field::Source, std::vector(interfaces::kPath.begin(), interfaces::kPath.end())},
                          {tn::field::ObjectId, id},
                          {interfaces::Status, status}});
    }
    /// "oid generic: name=value ..." of the trap, or nothing.
    static std::string made(const tn::message& m) {
        std::vector<VariableBinding> bindings;
        OID oid;
        unsigned generic = 0;
        unsigned specific = 99;
        if (!interfaceTrapMaker(bindings, m, oid, generic, specific)) return "";
        EXPECT_EQ(specific, 0U);
        std::string text = oid.str() + " " + std::to_string(generic) + ":";
        for (const VariableBinding& b : bindings) {
            EXPECT_EQ(b.type, tag::Integer);
            text += " " + b.name.str() + "=" + b.value;
        }
        return text;
    }
    static std::string trap(const std::string& head, unsigned id, const std::string& admin, const std::string& oper) {
        const std::string column = ".1.3.6.1.2.1.2.2.1.";
        return ".1.3.6.1.6.3.1.1.5." + head + ": " + column + "1=" + std::to_string(id) + " " + column + "7=" + admin +
               " " + column + "8=" + oper;
    }
    static std::string linkUp(unsigned id, const std::string& oper = "1") { return trap("4 3", id, "1", oper); }
    static std::string linkDown(unsigned id, const std::string& oper = "2") { return trap("3 2", id, "2", oper); }
};

TEST_F(InterfaceTrapsTest, EachNewStateMakesATrap) {
    // As noted at the start, with other bits: only one that is down and stays so is the same.
    ifStateMap = {{7, 0x10103}, {8, 0}};
    const std::tuple<uint32_t, uint32_t, std::string> steps[] = {{5, 0x500, linkUp(5)},
                                                                 {5, 0x500 | 0x8f, ""},
                                                                 {5, 0x400, linkDown(5, "1")},
                                                                 {5, 0, linkDown(5)},
                                                                 {5, 0, ""},
                                                                 {5, 0x100, linkUp(5, "2")},
                                                                 {6, 0, linkDown(6)},
                                                                 {7, 0x500, linkUp(7)},
                                                                 {8, 0, ""}};
    for (const auto& [id, status, trap] : steps) EXPECT_EQ(made(notification(id, status)), trap) << status;
}

TEST_F(InterfaceTrapsTest, StandardLinkTrapsNameTheInstanceAndTellWhetherItIsEnabled) {
    agent->setRules(kStandardRules);
    const std::string head = ".1.3.6.1.6.3.1.1.5.", column = ".1.3.6.1.2.1.2.2.1.";
    const auto bindings = [&](const std::string& admin, const std::string& oper) {
        return ": " + column + "1.5=5 " + column + "7.5=" + admin + " " + column + "8.5=" + oper;
    };
    tn::message cut = notification(5, 0), disabled = notification(5, 0);
    EXPECT_EQ(made(notification(5, 0x500)), head + "4 3" + bindings("1", "1"));
    EXPECT_EQ(made(put(cut, {{tn::field::Disabled, false}})), head + "3 2" + bindings("1", "2"));
    EXPECT_EQ(made(notification(5, 0x500)), head + "4 3" + bindings("1", "1"));
    EXPECT_EQ(made(put(disabled, {{tn::field::Disabled, true}})), head + "3 2" + bindings("2", "2"));
}

TEST_F(InterfaceTrapsTest, InterfacesThatHaveGoneAreForgotten) {
    constexpr uint32_t kLast = 3 * kMaxStates;
    EXPECT_EQ(made(notification(1, 0x500)), linkUp(1));
    for (uint32_t id = 2; id <= kLast; ++id)
        for (const uint32_t status : {0x500U, 0U}) (void)made(notification(id, status));
    EXPECT_EQ(ifStateMap.size(), kMaxStates);
    EXPECT_EQ(made(notification(1, 0x500)), "");  // still there
    EXPECT_EQ(made(notification(kLast, 0)), "");
    EXPECT_EQ(made(notification(kLast, 0x500)), linkUp(kLast));
    EXPECT_EQ(made(notification(2, 0x500)), linkUp(2));
}

TEST_F(InterfaceTrapsTest, OnlyTheInterfaceOwnerIsBelieved) {
    for (const auto& other : {std::vector<uint32_t>{20}, {20, 1}, {20, 0, 0}, {24, 0}}) {
        tn::message m = notification(5, 0x500);
        EXPECT_EQ(made(put(m, {{tn::field::Source, other}})), "");
    }
    const auto madeWithout = [](auto field) {
        tn::message m = notification(5, 0x500);
        m.remove(field);
        return made(m);
    };
    EXPECT_EQ(madeWithout(tn::field::Source) + madeWithout(tn::field::ObjectId) + madeWithout(interfaces::Status), "");
    EXPECT_TRUE(ifStateMap.empty());
}

TEST_F(InterfaceTrapsTest, TheMakerIsThereAsLongAsTheSubscription) {
    const ScriptedOwner& interfaces = owner(interfaces::kPath);
    scribers.push_back({"interfaces", interfaceSubscribe, interfaceUnSubscribe});
    trapMakers.push_back(alderTrapMaker);
    for (const int wanted : {0, 1, 1, 0, 1}) {
        change({{setting::TrapGenerators, std::vector<uint32_t>{0xabc0001, wanted == 1 ? 0U : 4U}}});
        int subscribers = 0;
        for (const tn::message& m : interfaces.requests)
            subscribers += m.get_u32(tn::field::Command) == tn::cmd::Subscribe ? 1 : -1;
        EXPECT_EQ(subscribers, wanted);
        EXPECT_EQ(std::ranges::count(trapMakers, &interfaceTrapMaker), wanted);
        EXPECT_EQ(trapMakers.front(), &alderTrapMaker);
    }
    EXPECT_EQ(interfaces.requests[0].get_message(tn::field::NotifyFilter),
              messageOf({{interfaces::Flags, 0U}, {interfaces::Status, interfaces::kStatusChanges}}));
}

}  // namespace
}  // namespace snmp
