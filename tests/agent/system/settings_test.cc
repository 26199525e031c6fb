#include "agent/system/settings.h"

#include <fstream>

#include "agent/traps/interface_traps.h"
#include "agent/traps/trap_generators.h"
#include "contracts/snmp_settings.h"
#include "contracts/supervisor.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/said.h"

namespace snmp {
namespace {

using contracts::snmp::Form;
using contracts::snmp::kSettings;
using contracts::snmp::Setting;
using contracts::snmp::trap::kStartTrap;
using testing::AllOf;
using testing::AnyOf;
using testing::Not;

std::vector<std::string> calls;

class SettingsTest : public AgentTest {
  protected:
    SettingsTest() { calls.clear(); }

    tn::message get(uint32_t flags = 0) {
        tn::message m = tn::request(agent->path(), tn::cmd::Get);
        return agent->exchangeMessage(put(m, {{tn::field::GetFlags, flags}}));
    }
    /// Any value of a setting but its default.
    static Field another(const Setting& row) {
        const tn::message target =
            messageOf({{setting::Target6, *IPAddr6::parse("2001:db8::1")}, {setting::TargetPort, 1162U}});
        const std::map<Form, Field::Value> values = {
            {Form::YesNo, true},
            {Form::Text, "x"},
            {Form::EngineId, "x"},
            {Form::Generators, std::vector<uint32_t>{7, 0}},
            {Form::Targets, Messages{target}},
            {Form::Interfaces, Messages{messageOf({{setting::Interface, 5U}})}},
            {Form::Plugins, std::vector<std::string>{"ifx", "ucd"}}};
        const auto found = values.find(row.form);
        return {row.field, found != values.end() ? found->second : Field::Value(3U)};
    }
    static void addGenerators() {
        scribers.push_back({"a", [] { calls.emplace_back("+a"); }, [] { calls.emplace_back("-a"); }});
        scribers.push_back({"b", [] { calls.emplace_back("+b"); }, [] { calls.emplace_back("-b"); }});
    }
};

TEST_F(SettingsTest, FreshAgentReportsDefaultsAndStoresNothing) {
    agent->init();
    tn::message m = get();
    EXPECT_FALSE(m.has(tn::field::Defaults));
    EXPECT_EQ(m.get_string(setting::Community), "common");
    EXPECT_EQ(agent->settings().engineId(), "");
    EXPECT_FALSE(tn::Store("/tern/store/snmpd").find(0));

    const tn::message defaults = get(tn::kWantDefaults).get_message(tn::field::Defaults);
    EXPECT_EQ(defaults.get_u32(setting::TrapCommunity), tn::kNoId);
    // Not what the agent counts, what isn't used, and what has no default.
    EXPECT_FALSE(m.has(setting::Interfaces));
    m.remove(setting::EngineBoots);
    m.remove(setting::Community);
    EXPECT_EQ(defaults, m);
}

TEST_F(SettingsTest, StoredRecordWithoutFieldsGivesDefaults) {
    const tn::message defaults = get();
    agent.reset();
    EXPECT_TRUE(tn::Store("/tern/store/snmpd").set(0, {}));
    restart();
    tn::message stored = get();
    EXPECT_EQ(stored.get_string(setting::Community, "absent"), "");
    EXPECT_EQ(agent->settings().engineId().size(), 5U);
    put(stored, {{setting::Community, "common"}, {setting::EngineBoots, 0U}});
    EXPECT_EQ(stored, defaults);
}

TEST_F(SettingsTest, EverySettingIsReportedStoredAndUndone) {
    ScriptedOwner& supervisor = owner(contracts::supervisor::kPath);
    agent->init();
    for (const Setting& row : kSettings) {
        SCOPED_TRACE(row.name);
        const tn::message before = get();
        const Field value = another(row);
        change({value});
        tn::message expected = before;
        EXPECT_EQ(get(), put(expected, {value}));

        ASSERT_THAT(supervisor.requests, SizeIs(1));
        EXPECT_EQ(supervisor.requests[0].get_string(tn::undo::Text), "changed snmp settings");
        tn::message undo = supervisor.requests[0].get_message(tn::undo::Old);
        EXPECT_EQ(undo.get_u32(tn::field::Command), tn::cmd::Set);
        EXPECT_EQ(undo.has(setting::TrapGenerators), value.number == setting::TrapGenerators.full());
        EXPECT_EQ(undo.has(setting::EngineBoots), value.number == setting::EngineBoots.full());
        undo.insert_bool(tn::field::NoUndo, true);
        EXPECT_TRUE(agent->exchangeMessage(undo).empty());
        EXPECT_EQ(get(), before);
        EXPECT_THAT(supervisor.requests, SizeIs(1)) << "an undo was recorded";

        change({value});
        supervisor.requests.clear();
        change({value});
        EXPECT_THAT(supervisor.requests, IsEmpty()) << "a change of nothing was recorded";
    }
    EXPECT_EQ(agent->v3Server().engineId, std::string("\x80\x00\xC3\x4F\x04x", 6));
    EXPECT_THAT(agent->settings().trapTargets(), ElementsAre(TrapTarget{*IPAddr6::parse("2001:db8::1"), 1162}));
    EXPECT_THAT(interfaceFilter, ElementsAre(5));

    tn::message before = get();
    interfaceFilter.clear();
    restart();
    EXPECT_EQ(get(), put(before, {{setting::EngineBoots, before.get_u32(setting::EngineBoots) + 1}}));
    EXPECT_EQ(agent->v3Server().engineId, std::string("\x80\x00\xC3\x4F\x04x", 6));
    EXPECT_THAT(interfaceFilter, ElementsAre(5));
    EXPECT_TRUE(agent->isEnabled());
}

TEST_F(SettingsTest, RefusedSetChangesNothing) {
    agent.reset();
    std::ofstream(tn::rooted("/tern/store/snmpd")) << "not a store";
    agent = std::make_unique<SnmpLooper>(uint16_t{0});
    agent->init();
    ScriptedOwner& supervisor = owner(contracts::supervisor::kPath);
    addGenerators();
    const tn::message before = get();
    tn::message request = tn::request(agent->path(), tn::cmd::Set);
    for (const Setting& row : kSettings) another(row).into(request);
    uint32_t code = 0;
    EXPECT_TRUE(tn::isError(agent->exchangeMessage(request), &code) && code == tn::error::StoreFailed);
    EXPECT_EQ(get(), before);
    EXPECT_TRUE(agent->v3Server().engineId.empty() && interfaceFilter.empty() && calls.empty());
    EXPECT_FALSE(agent->isEnabled());
    EXPECT_THAT(supervisor.requests, IsEmpty());
}

TEST_F(SettingsTest, SubscribersAreNotifiedOfEachSet) {
    ScriptedOwner& subscriber = owner(std::vector<uint32_t>{34, 9});
    subscriber.subscribe(agent->path(), tn::cmd::Changed, {});
    change({{setting::Contact, "noc"}});
    agent->runOnce({});
    ASSERT_THAT(subscriber.requests, SizeIs(1));
    EXPECT_EQ(subscriber.requests[0].get_string(setting::Contact), "noc");
}

TEST_F(SettingsTest, TrapTargetsAreAListOrOneMoreAtTopLevel) {
    const TrapTarget one{IPAddr6::ofIPv4(0xc0000201)}, two{*IPAddr6::parse("2001:db8::1"), 65535};
    change({{setting::Target4, Ip4{0xc0000201}}});
    change({{setting::Target6, two.address}, {setting::TargetPort, 65535U}});
    change({{setting::Enabled, false}});
    EXPECT_THAT(agent->settings().trapTargets(), ElementsAre(one, two));
    const tn::message element = messageOf({{setting::Target4, Ip4{0xc0000201}}});
    change({{setting::TrapTargets, Messages{element, {}}}, {setting::Target6, two.address}});
    EXPECT_THAT(agent->settings().trapTargets(), ElementsAre(one));
    const tn::message tooHigh = messageOf({{setting::Target4, Ip4{0xc0000201}}, {setting::TargetPort, 65536U}});
    change({{setting::TrapTargets, Messages{tooHigh}}});
    EXPECT_THAT(agent->settings().trapTargets(), ElementsAre(one));
}

TEST_F(SettingsTest, EngineBootsCountStartsAndRestartAtZero) {
    const auto boots = [&] { return agent->settings().get(setting::EngineBoots); };
    change({{setting::Enabled, false}});
    restart();
    // An uptime below 40: the system itself has just booted.
    for (const auto& [uptime, count] : {std::pair(1000U, 2U), {39U, 0U}, {40U, 1U}}) {
        sources.uptime = uptime;
        restart();
        EXPECT_EQ(boots(), count) << uptime;
    }

    change({{setting::Enabled, true}});
    EXPECT_EQ(boots(), 0U);
    EXPECT_TRUE(agent->isEnabled());
    change({{setting::EngineBoots, 9U}});
    change({{setting::Enabled, true}});  // already on: stays
    EXPECT_EQ(boots(), 9U);
    restart();
    restart();
    EXPECT_EQ(boots(), 11U);
    EXPECT_EQ(agent->v3Server().engineBoots, 11U);
    change({{setting::Enabled, false}});
    EXPECT_FALSE(agent->isEnabled());
}

TEST_F(SettingsTest, UsersBehindShortDigestsAreWarnedOf) {
    const auto loggedAtStart = [this] { return said([this] { agent->init(); }); };
    constexpr const char* kWarning = "can be impersonated without a password";
    EXPECT_THAT(loggedAtStart(), Not(HasSubstr(kWarning)));
    addEntry("ops", "0.0.0.0/0", 1);
    EXPECT_THAT(loggedAtStart(), AllOf(HasSubstr(kWarning), HasSubstr("engine-id isn't set")));
    agent->v3Server().strictDigest = true;
    change({{setting::EngineId, "core1"}});
    EXPECT_THAT(loggedAtStart(), Not(AnyOf(HasSubstr(kWarning), HasSubstr("engine-id"))));
}

TEST_F(SettingsTest, GeneratorsAreStoppedAndStartedByTheList) {
    addGenerators();
    change({{setting::TrapGenerators, std::vector<uint32_t>{1, 0, 1, kStartTrap, 0}}});
    EXPECT_THAT(agent->settings().get(setting::TrapGenerators), ElementsAre(1, 0, kStartTrap));
    EXPECT_THAT(calls, ElementsAre("-a", "-b", "+b", "+a"));
    calls.clear();
    change({{setting::Contact, "noc"}});
    EXPECT_THAT(calls, IsEmpty());
    startSubscribers(agent->settings().get(setting::TrapGenerators));
    EXPECT_THAT(calls, ElementsAre("+b", "+a"));
}

}  // namespace
}  // namespace snmp
