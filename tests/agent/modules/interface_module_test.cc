#include "agent/modules/interface_module.h"

#include <gmock/gmock.h>

#include "agent/system/scribers.h"
#include "agent/traps/interface_traps.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

/// Interfaces that also answer with their speed and their listing.
class InterfaceOwner : public TableOwner {
  public:
    tn::message handle(const tn::message& request, uint32_t rights) override {
        tn::message reply;
        if (request.get_u32(tn::field::Command) == 0x10001) {
            reply.insert_u32(1102, speeds[request.get_u32(tn::field::ObjectId)]);
            return reply;
        }
        if (request.get_u32(tn::field::Command) != 1) return TableOwner::handle(request, rights);
        // The listing, one interface in each reply.
        const auto at = rows.lower_bound(request.get_u32(tn::field::Continue));
        if (at == rows.end()) return reply;
        reply.insert_message_array(tn::field::Objects, {at->second});
        if (std::next(at) != rows.end()) reply.insert_u32(tn::field::Continue, std::next(at)->first);
        return reply;
    }
    std::map<uint32_t, uint32_t> speeds;
};

class InterfaceModuleTest : public AgentTest {
  protected:
    InterfaceModuleTest() {
        opensCommon(true);
        ifStateMap.clear();
        agent->addHandler(std::vector<uint32_t>{20, 0}, &interfaces);
    }
    tn::message& hasInterface(uint32_t id, uint32_t kind) {
        tn::message& m = interfaces.row(id);
        m.insert_u32(0x10001, kind);
        m.insert_string(0x10006, "if" + std::to_string(id));
        return m;
    }
    std::string ifEntry(uint32_t column, uint32_t id) {
        return value("1.3.6.1.2.1.2.2.1." + std::to_string(column) + "." + std::to_string(id));
    }
    InterfaceOwner interfaces;
};

TEST_F(InterfaceModuleTest, ARowShowsWhatTheOwnerSays) {
    tn::message& m = hasInterface(7, 12);
    m.insert_u32(0x10064, 1400);
    m.insert_bool(0x1000e, true);
    m.insert_bool(tn::field::Disabled, true);
    m.insert_string(tn::field::Comment, "uplink");
    m.insert_raw(1001, std::vector<uint8_t>{0, 1, 2, 3, 4, 255});
    m.insert_u64(0x100fc, 0x100000005);
    m.insert_u64(0x100fd, 6);
    m.insert_u32(0x100fa, 3);
    hasInterface(8, 12);
    start_interface_module();

    EXPECT_EQ(value("1.3.6.1.2.1.2.1.0"), "2");
    const std::pair<uint32_t, std::string> expected[] = {
        {1, "7"},  {2, "if7"}, {4, "1400"}, {6, std::string("\0\1\2\3\4\xff", 6)},
        {7, "2"},  {8, "1"},   {9, "0"},    {10, "5"},
        {14, "3"}, {16, "6"},  {22, "0.0"},
    };
    for (const auto& [column, text] : expected) EXPECT_EQ(ifEntry(column, 7), text) << "column " << column;
    EXPECT_EQ(ifEntry(6, 8), "");
    EXPECT_EQ(ifEntry(8, 8), "2");
    EXPECT_EQ(value("1.3.6.1.2.1.31.1.1.1.6.7"), "4294967301");
    EXPECT_EQ(value("1.3.6.1.2.1.31.1.1.1.18.7"), "uplink");
    EXPECT_EQ(value("1.3.6.1.2.1.31.1.1.1.15.7"), "0");
    for (const uint32_t column : {14U, 16U, 17U, 19U})
        EXPECT_EQ(get({"1.3.6.1.2.1.31.1.1.1." + std::to_string(column) + ".7"}).bindings[0].tag, tag::NoSuchInstance);
}

TEST_F(InterfaceModuleTest, SpeedAndTypeFollowTheKind) {
    struct Case {
        uint32_t kind;
        const char *speed, *type;
    };
    const Case cases[] = {{1, "1000000000", "6"},  {5, "11000000", "71"}, {12, "100000000", "209"},
                          {17, "10000000", "131"}, {21, "128000", "131"}, {3, "10000000", "1"},
                          {36, "10000000", "1"},   {0, "10000000", "1"}};
    uint32_t id = 10;
    for (const Case& c : cases) hasInterface(id++, c.kind);
    hasInterface(50, 30).insert_u32(2002, 10);  // a VLAN on the first one
    hasInterface(51, 1);
    interfaces.speeds = {{10, 3}, {51, 4}};
    start_interface_module();
    id = 10;
    for (const Case& c : cases) {
        EXPECT_EQ(ifEntry(5, id), c.speed) << "kind " << c.kind;
        EXPECT_EQ(ifEntry(3, id++), c.type) << "kind " << c.kind;
    }
    EXPECT_EQ(ifEntry(5, 50), "1000000000");
    EXPECT_EQ(ifEntry(3, 50), "135");
    EXPECT_EQ(ifEntry(5, 51), "0");  // a selector nobody knows
}

TEST_F(InterfaceModuleTest, VendorCountersLieWhereTheMapSays) {
    tn::message& m = hasInterface(1, 0);
    for (uint32_t field = 1100; field <= 1164; ++field) m.insert_u64(field, field);
    start_interface_module();
    const std::pair<uint32_t, uint32_t> map[] = {{11, 1162}, {12, 1161}, {13, 1164}, {14, 1163}, {15, 1137}, {21, 1143},
                                                 {31, 1116}, {32, 1144}, {33, 1105}, {34, 1107}, {41, 1114}, {42, 1100},
                                                 {46, 1104}, {47, 1106}, {48, 1115}, {49, 1145}, {55, 1151}, {61, 1129},
                                                 {62, 1152}, {63, 1159}, {64, 1121}, {71, 1128}, {72, 1117}, {75, 1120},
                                                 {76, 1130}, {82, 1136}, {83, 1153}, {88, 1158}, {89, 1160}};
    const std::string entry = "1.3.6.1.4.1.49999.1.1.14.1.1.";
    for (const auto& [column, field] : map)
        EXPECT_EQ(value(entry + std::to_string(column) + ".1"), std::to_string(field)) << "column " << column;
    for (const uint32_t column : {3U, 10U, 22U, 30U, 56U, 60U, 90U})
        EXPECT_EQ(get({entry + std::to_string(column) + ".1"}).bindings[0].tag, tag::NoSuchInstance);
}

TEST_F(InterfaceModuleTest, ASetSucceedsAndChangesNothing) {
    hasInterface(1, 0);
    start_interface_module();
    EXPECT_EQ(set({number("1.3.6.1.2.1.2.2.1.7.1", 2)}).errorStatus, 0U);
    const tn::message sent = interfaces.requests.back();
    EXPECT_EQ(sent.get_u32(tn::field::ObjectId), 1U);
    EXPECT_FALSE(sent.has(tn::field::Disabled));
    EXPECT_EQ(ifEntry(7, 1), "1");
}

TEST_F(InterfaceModuleTest, LinkStatesAreSeededFromTheListing) {
    for (const uint32_t id : {1U, 2U, 3U, 4U}) {
        hasInterface(id, 0).insert_u32(0x10002, id == 2 ? 0x80 : 0);
        if (id != 3) interfaces.row(id).insert_u32(0x10003, 0x10503);
    }
    ifStateMap[4] = 1;
    start_interface_module();
    EXPECT_EQ(ifStateMap, (std::map<uint32_t, uint32_t>{{1, 0x10103}, {4, 1}}));
    ASSERT_EQ(scribers.size(), 1U);
    EXPECT_EQ(scribers[0].name, "interfaces");
}

}  // namespace
}  // namespace snmp
