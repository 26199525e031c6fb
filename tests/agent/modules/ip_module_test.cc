#include "agent/modules/ip_module.h"

#include <gmock/gmock.h>

#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

const std::string kCidr = "1.3.6.1.2.1.4.24.4.1.";
const std::string kRoute = "1.3.6.1.2.1.4.21.1.";

/// A value as people read it: addresses with dots, integers with their sign.
std::string shown(const wire::Binding& b) {
    if (b.tag == tag::Integer) return std::to_string(static_cast<int32_t>(std::stoul(b.value)));
    if (b.tag != tag::IpAddress) return b.value;
    std::string text;
    for (const char octet : b.value) text += (text.empty() ? "" : ".") + std::to_string(static_cast<uint8_t>(octet));
    return text;
}

std::vector<std::string> valuesOf(const std::vector<wire::Binding>& bindings) {
    std::vector<std::string> values;
    for (const wire::Binding& b : bindings) values.push_back(shown(b));
    return values;
}

class IpModuleTest : public AgentTest {
  protected:
    IpModuleTest() {
        opensCommon(true);
        addresses.keyFields = {tn::be32_id{1}};
        arpEntries.keyFields = {tn::u32_id{3}, tn::be32_id{1}};
        routes.keyFields = {tn::be32_id{1}, tn::be32_id{2}, tn::be32_id{3}};
        const std::pair<std::vector<uint32_t>, TableOwner*> paths[] = {
            {{20, 1}, &addresses}, {{20, 8}, &arpEntries}, {{44, 1}, &routes}, {{20, 9}, &simple}, {{20, 12}, &tree}};
        for (const auto& [path, table] : paths) agent->addHandler(path, table);
        start_ip_module();
    }

    std::string value(const std::string& name) { return shown(get({name}).bindings.at(0)); }

    tn::message& address(uint32_t address, uint32_t ifIndex) {
        tn::message& m = addresses.row(address);
        m.insert_be32(1, address);
        m.insert_be32(3, 0xffffff00);
        m.insert_u32(5, ifIndex);
        return m;
    }
    /// A route as its owner lists it: one gateway in each item, none for connected networks.
    tn::message& route(uint32_t dest, uint32_t mask, uint32_t nextHop, uint32_t kind, uint32_t ifIndex = 1) {
        tn::message& m = routes.row(++lastRoute);
        m.insert_be32(1, dest);
        m.insert_be32(2, mask);
        m.insert_be32(3, nextHop);
        if (kind != 2) m.insert_be32_array(4, std::vector{nextHop});
        m.insert_u32_array(5, {ifIndex});
        m.insert_u32(7, kind);
        m.insert_u32(8, 20);
        return m;
    }
    static std::string key(const std::string& dest, const std::string& mask, const std::string& nextHop,
                           unsigned tos = 0) {
        return dest + "." + mask + "." + std::to_string(tos) + "." + nextHop;
    }

    TableOwner addresses, arpEntries, routes, simple, tree;
    uint32_t lastRoute = 0;
};

TEST_F(IpModuleTest, AddressesInForceAreListed) {
    address(0x0a000001, 2);
    address(0xc0000201, 3);
    address(0x0a000002, 2).insert_bool(tn::field::Invalid, true);
    address(0x0a000003, 2).insert_bool(tn::field::Disabled, true);
    EXPECT_THAT(valuesOf(walk("1.3.6.1.2.1.4.20")), ElementsAre("10.0.0.1", "192.0.2.1", "2", "3", "255.255.255.0",
                                                                "255.255.255.0", "1", "1", "65535", "65535"));
    EXPECT_EQ(walk("1.3.6.1.2.1.4.20", 4), walk("1.3.6.1.2.1.4.20"));
    EXPECT_EQ(get({"1.3.6.1.2.1.4.20.1.2.10.0.0.2"}).bindings[0].tag, tag::NoSuchInstance);
    EXPECT_EQ(value("1.3.6.1.2.1.4.1.0"), "1");
    EXPECT_EQ(value("1.3.6.1.2.1.4.2.0"), "255");
}

TEST_F(IpModuleTest, NeighborsByInterfaceAndAddress) {
    struct Entry {
        uint32_t ifIndex, address;
        bool invalid, dynamic;
        const char *index, *type;
    };
    const Entry entries[] = {{2, 0x0a000001, false, true, "2.10.0.0.1", "3"},
                             {2, 0xc0000201, true, true, "2.192.0.2.1", "2"},
                             {10, 0x0a000001, false, false, "10.10.0.0.1", "4"}};
    uint32_t id = 0;
    for (const Entry& e : entries) {
        tn::message& m = arpEntries.row(id++);
        m.insert_u32(3, e.ifIndex);
        m.insert_be32(1, e.address);
        m.insert_raw(2, std::vector<uint8_t>{2, 0, 0, 0, 0, 255});
        if (e.invalid) m.insert_bool(0xfe0008, true);
        if (e.dynamic) m.insert_bool(0xfe0007, true);
    }
    EXPECT_THAT(walk("1.3.6.1.2.1.4.22"), SizeIs(12));
    for (const Entry& e : entries) {
        const std::string column = "1.3.6.1.2.1.4.22.1.", at = std::string(".") + e.index;
        EXPECT_EQ(value(column + "1" + at), std::to_string(e.ifIndex));
        EXPECT_EQ(value(column + "2" + at), std::string("\2\0\0\0\0\xff", 6));
        EXPECT_EQ(value(column + "4" + at), e.type) << e.index;
    }
}

TEST_F(IpModuleTest, AKindIsARoutesTypeAndProtocolInBothTables) {
    struct Kind {
        uint32_t kind;
        const char *type, *proto, *cidrType, *cidrProto;
    };
    const std::map<uint32_t, Kind> known = {
        {2, {2, "3", "1", "3", "2"}},   {3, {3, "4", "2", "4", "3"}},   {4, {4, "4", "8", "4", "8"}},
        {6, {6, "4", "13", "4", "13"}}, {8, {8, "4", "14", "4", "14"}}, {30, {30, "4", "2", "4", "3"}},
        {31, {31, "4", "1", "3", "2"}},
    };
    for (uint32_t kind = 0; kind <= 40; ++kind) route(0x0a000000 + kind, 0xffffffff, 0xc0000201, kind);
    for (uint32_t kind = 0; kind <= 40; ++kind) {
        const auto found = known.find(kind);
        const Kind expected = found != known.end() ? found->second : Kind{kind, "4", "1", "1", "1"};
        const std::string dest = "10.0.0." + std::to_string(kind);
        const std::string at = "." + key(dest, "255.255.255.255", "192.0.2.1");
        EXPECT_EQ(value(kCidr + "6" + at), expected.cidrType) << "kind " << kind;
        EXPECT_EQ(value(kCidr + "7" + at), expected.cidrProto) << "kind " << kind;
        EXPECT_EQ(value(kRoute + "8." + dest), expected.type) << "kind " << kind;
        EXPECT_EQ(value(kRoute + "9." + dest), expected.proto) << "kind " << kind;
    }
}

TEST_F(IpModuleTest, ARowHasTheColumnsOfItsRoute) {
    route(0xc6336400, 0xffffff00, 0xc0000201, 8, 7);
    const std::string at = "198.51.100.0.255.255.255.0.0.192.0.2.1";
    const char* cidr[] = {"198.51.100.0",
                          "255.255.255.0",
                          "0",
                          "192.0.2.1",
                          "7",
                          "4",
                          "14",
                          "0",
                          "0.0",
                          "0",
                          "20",
                          "-1",
                          "-1",
                          "-1",
                          "-1",
                          "1"};
    const char* route[] = {"198.51.100.0",  "7",  "20", "-1", "-1", "-1", "192.0.2.1", "4", "14", "0",
                           "255.255.255.0", "-1", "0.0"};
    for (size_t i = 0; i < std::size(cidr); ++i)
        EXPECT_EQ(value(kCidr + std::to_string(i + 1) + "." + at), cidr[i]) << "column " << i + 1;
    for (size_t i = 0; i < std::size(route); ++i)
        EXPECT_EQ(value(kRoute + std::to_string(i + 1) + ".198.51.100.0"), route[i]) << "column " << i + 1;
    EXPECT_EQ(value("1.3.6.1.2.1.4.24.3.0"), "1");
    EXPECT_EQ(get({"1.3.6.1.2.1.4.24.3.0"}).bindings[0].tag, tag::Gauge32);
}

TEST_F(IpModuleTest, OneItemCanGiveSeveralRowsOrNone) {
    tn::message& several = route(0x0a000000, 0xff000000, 0xc0000201, 3);
    several.insert_be32_array(4, std::vector{0xc0000201U, 0xc0000202U, 0xc0000203U});
    several.insert_u32_array(5, {7, 8});
    several.insert_u32_array(6, {1, 0, 1});
    tn::message& noInterface = route(0x0b000000, 0xff000000, 0xc0000201, 3);
    noInterface.remove(tn::u32_array_id{5});
    route(0x0c000000, 0xff000000, 0xc0000201, 3).remove(tn::be32_array_id{4});  // no gateway, not connected
    route(0x0d000000, 0xff000000, 0xc0000201, 8).insert_bool(tn::field::Invalid, true);
    route(0x0e000000, 0xff000000, 0x0e000001, 2).insert_bool(tn::field::Disabled, true);
    route(0x0f000000, 0xff000000, 0x0f000001, 2).remove(tn::u32_array_id{5});  // connected to no interface

    const std::string mask = "255.0.0.0", column = kCidr + "5.";
    EXPECT_THAT(bulk({kCidr + "5"}, 0, 3).bindings, ElementsAre(number(column + key("10.0.0.0", mask, "192.0.2.1"), 7),
                                                                number(column + key("10.0.0.0", mask, "192.0.2.3"), 0),
                                                                number(column + key("15.0.0.0", mask, "15.0.0.1"), 0)));
    for (const std::string dest : {"11.0.0.0", "12.0.0.0", "13.0.0.0"}) {
        routes.requests.clear();
        EXPECT_EQ(get({column + key(dest, mask, "192.0.2.1")}).bindings[0].tag, tag::NoSuchInstance) << dest;
        EXPECT_THAT(routes.requests, SizeIs(1)) << dest;  // what follows can't be the answer
    }
    EXPECT_THAT(valuesOf(walk(kRoute + "1")), ElementsAre("10.0.0.0", "15.0.0.0"));
}

TEST_F(IpModuleTest, ATypeOfServiceOtherThanZeroNamesNoRow) {
    for (const uint32_t hop : {1U, 2U, 3U}) route(0x0a000000, 0xff000000, hop, 3, hop);
    route(0x0b000000, 0xff000000, 9, 3, 9);
    const std::string column = kCidr + "5.", mask = "255.0.0.0";
    EXPECT_EQ(get({column + key("10.0.0.0", mask, "0.0.0.2")}).bindings[0].value, "2");
    EXPECT_EQ(get({column + key("10.0.0.0", mask, "0.0.0.2", 7)}).bindings[0].tag, tag::NoSuchInstance);
    EXPECT_EQ(set({number(column + key("10.0.0.0", mask, "0.0.0.2", 7), 1)}).errorStatus, 2U);
    const std::pair<std::string, const char*> steps[] = {
        {key("10.0.0.0", mask, "0.0.0.1"), "2"},   {key("10.0.0.0", mask, "0.0.0.1", 7), "9"},
        {key("10.0.0.0", mask, "0.0.0.256"), "9"}, {key("10.0.0.0", mask, "0.0.0.3"), "9"},
        {key("10.0.0.300", mask, "0.0.0.1"), "9"}, {"10.0.0.0.255", "1"},
        {key("10.0.0.0", mask, "0"), "1"},
    };
    for (const auto& [index, next] : steps)
        EXPECT_EQ(this->next({column + index}).bindings[0].value, next) << "after " << index;
    // The owner is asked in its own terms: it knows nothing of types of service.
    (void)next({column + key("10.0.0.0", mask, "0.0.0.1")});
    EXPECT_EQ(routes.requests.back().get_message(tn::field::Key).size(), 3U);
}

TEST_F(IpModuleTest, RoutesThatShareADestinationDoNotEndAWalk) {
    std::vector<std::string> destinations;
    for (uint32_t i = 0; i < 16; ++i) {
        const uint32_t dest = 0x0a000000 + (i << 16);
        destinations.push_back("10." + std::to_string(i) + ".0.0");
        for (uint32_t mask = 0xffff0000; mask != 0; mask = i % 8 == 3 ? mask << 1 : 0)
            for (uint32_t hop = 1; hop <= i % 5 + 1; ++hop) route(dest, mask, hop, 3);
    }
    for (const size_t page : {2U, 1000U}) {
        routes.pageSize = page;
        for (const uint32_t repetitions : {0U, 2U, 7U, 50U}) {
            EXPECT_EQ(valuesOf(walk(kRoute + "1", repetitions)), destinations);
            EXPECT_THAT(walk(kCidr + "1", repetitions), SizeIs(routes.rows.size()));
        }
    }
    EXPECT_EQ(value(kRoute + "1.10.3.0.0"), "10.3.0.0");
    EXPECT_EQ(value("1.3.6.1.2.1.4.24.3.0"), std::to_string(routes.rows.size()));
}

TEST_F(IpModuleTest, ManyRoutesThatAreNotListedHideNothingBehindThem) {
    route(0x09000000, 0xff000000, 1, 3);
    for (uint32_t i = 0; i < 3000; ++i) {
        tn::message& m = route(0x0a000000 + i, 0xffffffff, 1, 3);
        if (i % 2 == 0) m.remove(tn::u32_array_id{5});
        if (i % 2 == 1) m.insert_bool(tn::field::Invalid, true);
    }
    route(0x0b000000, 0xff000000, 1, 3);
    EXPECT_THAT(valuesOf(walk(kCidr + "1")), ElementsAre("9.0.0.0", "11.0.0.0"));
    EXPECT_THAT(valuesOf(walk(kRoute + "1", 10)), ElementsAre("9.0.0.0", "11.0.0.0"));
}

TEST_F(IpModuleTest, ProxyScalarsWrapAsTheirOwnersCountersDo) {
    sources.uptime = 1000;
    tn::message& m = owner({96, 1}).reply;
    const std::string system = "1.3.6.1.4.1.3495.1.1.", protocols = "1.3.6.1.4.1.3495.1.3.2.";
    EXPECT_EQ(value(system + "3.0"), "1000");
    m.insert_u32(100, 400);
    m.insert_u32(113, 4194304);  // KiB: 4 GiB
    m.insert_u32(111, 4194305);
    m.insert_u32(103, 3);
    m.insert_u32(123, 2097152);
    m.insert_u32(102, 4000000000);
    m.insert_u32(121, 5);
    m.insert_u32(122, 6);
    EXPECT_THAT(valuesOf(walk("1.3.6.1.4.1.3495")),
                ElementsAre("0", "1024", "600", "3", "-2147483648", "-294967296", "5120", "6144"));
    EXPECT_EQ(value(protocols + "13.0"), "6144");
    owner({96, 1}).reply = tn::errorMsg(tn::error::Unreachable, "nobody there");
    EXPECT_EQ(value(protocols + "13.0"), "0");
}

TEST_F(IpModuleTest, QueuesShowWhatTheirOwnersCount) {
    tn::message& m = simple.row(5);
    m.insert_string(2, "office");
    m.insert_be32_array(105, std::vector{0x0a000000U, 0xff000000U});
    m.insert_be32(101, 0xc0000201);
    m.insert_be32(103, 0xffffffff);
    m.insert_u32(104, 3);
    m.insert_u64(300, 0x100000001);
    m.insert_u64(200, 0x100000002);
    uint32_t counter = 10;
    for (const uint32_t field : {301U, 201U, 313U, 213U}) m.insert_u32(field, counter++);
    EXPECT_THAT(valuesOf(walk("1.3.6.1.4.1.49999.1.1.2.1")),
                ElementsAre("office", "10.0.0.0", "255.0.0.0", "192.0.2.1", "255.255.255.255", "3", "4294967297",
                            "4294967298", "10", "11", "12", "13"));
    m.insert_be32_array(105, std::vector{0x0a000000U});
    EXPECT_EQ(value("1.3.6.1.4.1.49999.1.1.2.1.1.3.5"), "0.0.0.0");

    tn::message& leaf = tree.row(0x10010);
    leaf.insert_string(2, "voice");
    leaf.insert_string_array(12, {"all", "ignored"});
    leaf.insert_u32(1, 7);
    leaf.insert_u64(200, 0x300000004);
    leaf.insert_u32(201, 8);
    leaf.insert_u32(213, 9);
    EXPECT_THAT(valuesOf(walk("1.3.6.1.4.1.49999.1.1.2.2")),
                ElementsAre("voice", "all", "7", "4", "8", "12884901892", "9"));
    leaf.remove(tn::string_array_id{12});
    EXPECT_EQ(value("1.3.6.1.4.1.49999.1.1.2.2.1.3.65552"), "");
}

TEST_F(IpModuleTest, ABulkOfRoutesIsOneExchange) {
    for (uint32_t i = 0; i < 500; ++i) route(0x0a000000 + i, 0xffffffff, 1, 3);
    routes.fetches = 0;
    EXPECT_THAT(bulk({kCidr + "5." + key("10.0.0.99", "255.255.255.255", "0.0.0.1")}, 0, 50).bindings, SizeIs(50));
    EXPECT_EQ(routes.fetches, 1U);
    EXPECT_EQ(routes.requests.back().get_u32(tn::field::MaxObjects), 51U);
}

}  // namespace
}  // namespace snmp
