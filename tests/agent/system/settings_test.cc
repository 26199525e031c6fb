#include "agent/system/settings.h"

#include <gmock/gmock.h>

#include "agent/traps/trap_generators.h"
#include "contracts/supervisor.h"
#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::vector<std::string> calls;

class SettingsTest : public AgentTest {
  protected:
    SettingsTest() { calls.clear(); }
    tn::message get(uint32_t flags = 0) {
        tn::message m = tn::request(agent->path(), tn::cmd::Get);
        return agent->exchangeMessage(put(m, {{tn::field::GetFlags, flags}}));
    }
    static Messages interfaces(uint32_t id) { return {messageOf({{setting::Interface, id}})}; }
};

TEST_F(SettingsTest, AFreshAgentHasDefaultsAndWritesNothing) {
    agent->init();
    const tn::message m = get();
    EXPECT_EQ(m.get_string(setting::Community), "common");
    EXPECT_EQ(m.get_string(setting::EngineId), "");
    EXPECT_EQ(m.get_u32(setting::TrapCommunity), kNoCommunity);
    EXPECT_FALSE(m.has(setting::Interfaces));
    EXPECT_FALSE(m.get_bool(setting::Enabled));
    EXPECT_FALSE(tn::Store("/tern/store/snmpd").find(0));
}

TEST_F(SettingsTest, TheStepsOfTheStartAreTold) {
    testing::internal::CaptureStderr();
    restart();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("communityKeep = new CommunityKeep;\ncommunityKeep->init();\n"
                          "addHandler(snmp::ID_COMMUNITIES, communityKeep);\n"));
}

TEST_F(SettingsTest, WhatIsSetIsReportedAndSurvivesARestart) {
    agent->init();
    const tn::message six = messageOf({{setting::Target6, *IPAddr6::parse("2001:db8::1")}});
    const tn::message four = messageOf({{setting::Target4, Ip4{0xc0000201}}});
    change({{setting::Contact, "noc"},
            {setting::EngineId, "x"},
            {setting::TrapTargets, Messages{six, {}, four}},
            {setting::Interfaces, interfaces(5)},
            {setting::TrapVersion, 3U}});
    EXPECT_EQ(agent->settings().engineId, std::string("\x80\x00\xC3\x4F\x04x", 6));

    const tn::message before = get();
    restart();
    tn::message after = get();
    EXPECT_EQ(after.get_u32(setting::EngineBoots), 1U);
    after.insert_u32(setting::EngineBoots, 0);
    EXPECT_EQ(after, before);
    EXPECT_THAT(agent->settings().trapTargets,
                ElementsAre(*IPAddr6::parse("2001:db8::1"), IPAddr6::ofIPv4(0xc0000201)));
}

TEST_F(SettingsTest, ASingleTargetAtTopLevelIsAdded) {
    change({{setting::Target4, Ip4{0xc0000201}}});
    EXPECT_THAT(agent->settings().trapTargets, ElementsAre(IPAddr6::ofIPv4(0xc0000201)));
    change({{setting::Enabled, false}});  // nothing said of targets: they stay
    EXPECT_EQ(agent->settings().trapTargets.size(), 1U);
}

TEST_F(SettingsTest, EngineBootsCountStartsAndRestartAtZero) {
    change({{setting::Enabled, false}});
    restart();
    restart();
    EXPECT_EQ(agent->settings().engineBoots, 2U);
    sources.uptime = 39;  // the system itself has just booted
    restart();
    EXPECT_EQ(agent->settings().engineBoots, 0U);
    sources.uptime = 40;
    restart();
    EXPECT_EQ(agent->settings().engineBoots, 1U);

    change({{setting::Enabled, true}});
    EXPECT_EQ(agent->settings().engineBoots, 0U);
    EXPECT_TRUE(agent->isEnabled());
    change({{setting::EngineBoots, 9U}});
    change({{setting::Enabled, true}});  // already on: stays
    EXPECT_EQ(agent->settings().engineBoots, 9U);
    restart();
    restart();
    EXPECT_EQ(agent->settings().engineBoots, 11U);
    EXPECT_EQ(agent->v3Server().engineBoots, 11U);
    change({{setting::Enabled, false}});
    EXPECT_FALSE(agent->isEnabled());
}

TEST_F(SettingsTest, UsersBehindShortDigestsAreWarnedOf) {
    const auto saidAtStart = [this] {
        testing::internal::CaptureStderr();
        agent->init();
        return testing::internal::GetCapturedStderr();
    };
    constexpr const char* kWarning = "can be forged without a password";
    EXPECT_THAT(saidAtStart(), Not(HasSubstr(kWarning)));
    addEntry("ops", "0.0.0.0/0", 1);
    EXPECT_THAT(saidAtStart(), AllOf(HasSubstr(kWarning), HasSubstr("no engine id of this agent's own")));
    agent->v3Server().strictDigest = true;
    change({{setting::EngineId, "core1"}});
    EXPECT_THAT(saidAtStart(), Not(AnyOf(HasSubstr(kWarning), HasSubstr("engine id"))));
}

TEST_F(SettingsTest, GeneratorsAreStoppedAndStartedByTheList) {
    scribers.push_back({"a", [] { calls.emplace_back("+a"); }, [] { calls.emplace_back("-a"); }});
    scribers.push_back({"b", [] { calls.emplace_back("+b"); }, [] { calls.emplace_back("-b"); }});
    change({{setting::TrapKinds, std::vector<uint32_t>{1, 0, 1, 0xabc0001, 0}}});
    EXPECT_THAT(agent->settings().trapKinds, ElementsAre(1, 0, 0xabc0001));
    EXPECT_THAT(calls, ElementsAre("-a", "-b", "+b", "+a"));
    calls.clear();
    startSubscribers(agent->settings().trapKinds);
    EXPECT_THAT(calls, ElementsAre("+b", "+a"));
}

TEST_F(SettingsTest, DefaultsComeWhenAskedFor) {
    const tn::message defaults = get(tn::kWantDefaults).get_message(tn::field::Defaults);
    EXPECT_EQ(defaults.get_u32(setting::TrapCommunity), kNoCommunity);
    EXPECT_TRUE(defaults.has(setting::TrapTargets));
    EXPECT_FALSE(get().has(tn::field::Defaults));
}

TEST_F(SettingsTest, AnUndoRecordTakesTheChangeBack) {
    ScriptedOwner& supervisor = owner(contracts::supervisor::kPath);
    change({{setting::Contact, "old"}});
    change({{setting::Contact, "new"}, {setting::Interfaces, interfaces(5)}});
    ASSERT_EQ(supervisor.requests.size(), 2U);
    EXPECT_EQ(supervisor.requests[1].get_string(tn::undo::Text), "changed snmp settings");

    tn::message undo = supervisor.requests[1].get_message(tn::undo::Old);
    EXPECT_EQ(undo.get_u32(tn::field::Command), tn::cmd::Set);
    undo.insert_bool(tn::field::NoUndo, true);
    EXPECT_TRUE(agent->exchangeMessage(undo).empty());
    EXPECT_EQ(agent->settings().contact, "old");
    EXPECT_TRUE(agent->settings().interfaceFilter.empty());
    EXPECT_EQ(supervisor.requests.size(), 2U);  // an undo isn't recorded
}

}  // namespace
}  // namespace snmp
