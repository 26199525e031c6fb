#include "agent/modules/interface_module.h"

#include "agent/traps/interface_traps.h"
#include "agent/traps/trap_generators.h"
#include "contracts/interface_counters.h"
#include "contracts/interfaces.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

namespace counters = contracts::interface_counters;
namespace interfaces = contracts::interfaces;

/// Interfaces that also answer with their speed and their listing.
class InterfaceOwner : public TableOwner {
  public:
    tn::message handle(const tn::message& request, uint32_t rights) override {
        if (request.get_u32(tn::field::Command) == interfaces::kGetSpeed)
            return ++lookups, messageOf({{interfaces::SpeedSelector, speeds[request.get_u32(tn::field::ObjectId)]}});
        if (request.get_u32(tn::field::Command) != interfaces::kList) return TableOwner::handle(request, rights);
        // The listing, one interface in each reply.
        const auto at = rows.lower_bound(request.get_u32(tn::field::Continue));
        if (at == rows.end()) return {};
        tn::message reply = messageOf({{tn::field::Objects, Messages{at->second}}});
        if (std::next(at) != rows.end()) reply.insert_u32(tn::field::Continue, std::next(at)->first);
        return reply;
    }
    std::map<uint32_t, uint32_t> speeds;
    unsigned lookups = 0;
};

class InterfaceModuleTest : public AgentTest {
  protected:
    InterfaceModuleTest() {
        opensCommon(true);
        ifStateMap.clear();
        agent->addHandler(interfaces::kPath, &interfaces);
        interfaces.leavesOutUnwanted = true;
    }
    tn::message& hasInterface(uint32_t id, uint32_t kind) {
        return put(interfaces.row(id), {{interfaces::Kind, kind}, {interfaces::Name, "if" + std::to_string(id)}});
    }
    InterfaceOwner interfaces;
    const std::string ifEntry = "1.3.6.1.2.1.2.2.1.", ifXEntry = "1.3.6.1.2.1.31.1.1.1.";
    const std::string vendorEntry = "1.3.6.1.4.1.49999.1.1.14.1.1.";
};

TEST_F(InterfaceModuleTest, ARowShowsWhatTheOwnerSays) {
    namespace in = interfaces;
    put(hasInterface(7, interfaces::kind::Bridge),
        {{in::Mtu, 1400U}, {in::Running, true}, {in::Mac, Raw{0, 1, 2, 3, 4, 255}}, {in::InOctets, 0x100000005UL}});
    put(interfaces.row(7),
        {{in::OutOctets, 6UL}, {in::InErrors, 3U}, {tn::field::Disabled, true}, {tn::field::Comment, "uplink"}});
    hasInterface(8, interfaces::kind::Bridge);
    start_interface_module();
    EXPECT_EQ(value("1.3.6.1.2.1.2.1.0"), "2");
    EXPECT_EQ(row(ifEntry, {1, 2, 4, 6, 7, 8, 9, 10, 14, 16, 22}, "7"), "7 if7 1400 00 01 02 03 04 FF 2 1 0 5 3 6 0.0");
    EXPECT_EQ(row(ifEntry, {6, 8}, "8"), "'' 2");
    EXPECT_EQ(row(ifXEntry, {6, 14, 15, 16, 17, 18, 19}, "7"), "4294967301 - 0 - - uplink -");
    // Other objects between them: what the second column needs wasn't fetched for the first.
    EXPECT_EQ(values({ifEntry + "2.7", "1.3.6.1.2.1.2.1.0", ifEntry + "4.7"}), "if7 2 1400");
}

TEST_F(InterfaceModuleTest, SpeedAndTypeFollowTheKind) {
    const std::pair<uint32_t, const char*> cases[] = {
        {1, "1000000000 6"}, {5, "11000000 71"}, {21, "128000 131"}, {36, "10000000 1"}};
    uint32_t id = 10;
    for (const auto& [kind, expected] : cases) hasInterface(id++, kind);
    hasInterface(50, interfaces::kind::Vlan).insert_u32(interfaces::Parent, 10);  // a VLAN on the first one
    hasInterface(51, interfaces::kind::Ethernet);
    interfaces.speeds = {{10, 3}, {51, 4}};
    start_interface_module();
    id = 10;
    for (const auto& [kind, expected] : cases)
        EXPECT_EQ(row(ifEntry, {5, 3}, std::to_string(id++)), expected) << "kind " << kind;
    EXPECT_EQ(row(ifEntry, {5, 3}, "50") + ", " + row(ifEntry, {5, 3}, "51"),
              "1000000000 135, 0 6");  // no such selector
    EXPECT_EQ(value(ifEntry + "3.50"), "135");
    EXPECT_EQ(interfaces.lookups, 3U);  // none for kinds that have a speed, nor for the type alone
    interfaces.row(51).insert_u32(interfaces::SpeedSelector, interfaces::speed_selector::Mbit100);
    EXPECT_EQ(row(ifEntry, {5}, "51"), "100000000");
    (void)walk(ifEntry + "2");
    EXPECT_EQ(interfaces.lookups, 5U) << "for the first row of this column and of the next one alone";
    EXPECT_THAT(bulk({ifEntry + "5.9"}, 0, 10).bindings, SizeIs(10));
    EXPECT_EQ(interfaces.lookups, 9U) << "two rows of the column, and the same for those after it";
    interfaces.leavesOutUnwanted = false;
    EXPECT_EQ(row(ifEntry, {1, 2, 5}, "51"), "51 if51 100000000") << "an owner may send all fields";
}

TEST_F(InterfaceModuleTest, VendorCountersLieWhereTheMapSays) {
    tn::message& m = hasInterface(1, 0);
    for (size_t i = 0; i < counters::kCount; ++i) m.insert_u64(counters::at(i), counters::at(i).number);
    start_interface_module();
    EXPECT_EQ(row(vendorEntry, {2, 10, 11, 14, 15, 22, 31, 55, 60, 61, 89, 90}, "1"),
              "if1 - 1162 1163 1137 - 1116 1151 - 1129 1160 -");
    std::set<std::string> served;
    for (const wire::Binding& b : walk(vendorEntry)) served.insert(b.value);
    EXPECT_EQ(served.size(), 2 + counters::kCount) << "each counter once, after index and name";
}

TEST_F(InterfaceModuleTest, OnlyASetOfIfAdminStatusChangesAnything) {
    hasInterface(1, 0);
    start_interface_module();
    const std::pair<wire::Binding, std::optional<bool>> cases[] = {
        {number(ifEntry + "7.1", 2), true},   {number(ifEntry + "7.1", 1), false},
        {number(ifEntry + "7.1", 3), {}},     {text(ifEntry + "7.1", "down"), {}},
        {number(ifEntry + "4.1", 2), {}},     {text(ifXEntry + "18.1", "uplink"), {}},
        {text(vendorEntry + "2.1", "x"), {}},
    };
    for (const auto& [binding, disabled] : cases) {
        EXPECT_EQ(set({binding}).errorStatus, 0U);
        const tn::message sent = interfaces.requests.back();
        EXPECT_EQ(sent.get_u32(tn::field::Command), tn::cmd::Set);
        const auto said =
            sent.has(tn::field::Disabled) ? std::optional(sent.get_bool(tn::field::Disabled)) : std::nullopt;
        EXPECT_EQ(said, disabled) << binding.name << " " << binding.value;
    }
    EXPECT_EQ(shown(set({number(ifEntry + "7.1", 2)}).bindings), "2");  // although its owner did nothing
    EXPECT_EQ(value(ifEntry + "7.1"), "1");
}

TEST_F(InterfaceModuleTest, LinkStatesAreSeededFromTheListing) {
    for (const uint32_t id : {1U, 2U, 3U, 4U}) {
        hasInterface(id, 0).insert_u32(interfaces::Flags, id == 2 ? interfaces::kInternal : 0);
        if (id != 3) interfaces.row(id).insert_u32(interfaces::Status, 0x10503);
    }
    ifStateMap[4] = 1;
    start_interface_module();
    EXPECT_EQ(ifStateMap, (std::map<uint32_t, uint32_t>{{1, 0x10103}, {4, 1}}));
    ASSERT_EQ(scribers.size(), 1U);
    EXPECT_EQ(scribers[0].name, "interfaces");
}

}  // namespace
}  // namespace snmp
