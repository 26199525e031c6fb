#include "agent/mib/columnar_branch.h"

#include <gmock/gmock.h>

#include "agent/mib/columns.h"
#include "agent/mib/get_all_multi_provider.h"
#include "agent/mib/get_all_provider.h"
#include "agent/mib/get_first_provider.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

struct Port : Data {
    unsigned int id = 0;
    unsigned int value = 0;
    unsigned int address = 0, mask = 0;
    std::string name;
    static std::unique_ptr<Data> build(const tn::message& m) {
        auto port = std::make_unique<Port>();
        port->id = m.get_u32(tn::field::ObjectId);
        port->name = m.get_string(1);
        port->value = m.get_u32(2);
        port->address = m.get_be32(3);
        port->mask = m.get_be32(4);
        return port;
    }
    void reverseBuild(tn::message& m) override { m.insert_u32(2, value); }
};

constexpr Column<Port> kPortColumns[] = {
    {1, "id", tag::Integer, &Port::id},
    {2, "name", tag::OctetString, &Port::name},
    {4, "value", tag::Integer, &Port::value},
};
constexpr Column<Port> kAddress = {1, "address", tag::IpAddress, &Port::address};
constexpr Column<Port> kMask = {2, "mask", tag::IpAddress, &Port::mask};

/// Ports by id at 1.3.5 with columns 1, 2 and 4; then the constant 1.3.6.
class ColumnarTest : public AgentTest {
  protected:
    ColumnarTest() {
        opensCommon(true);
        agent->addHandler(std::vector<uint32_t>{20, 0}, &ports);
        auto* provider = keep<GetAllProvider>(std::vector<uint32_t>{20, 0}, oneRow<Port::build>, 5U);
        MapTable* table = keepTable(provider, {{packerFor(kPortColumns[0]), tn::field::ObjectId.number}});
        addColumns(addColumnarBranch(OID{1, 3, 5}, table), kPortColumns);
        addScalarConstNumLeaf(OID{1, 3, 6}, 6, tag::Integer);
    }

    void hasPorts(std::initializer_list<uint32_t> ids) {
        for (const uint32_t id : ids) {
            ports.row(id).insert_string(1, "p" + std::to_string(id));
            ports.row(id).insert_u32(2, id * 10);
        }
    }

    TableOwner ports;
};

TEST_F(ColumnarTest, EveryWayOfWalkingGivesTheSame) {
    hasPorts({1, 2, 3, 7, 100, 65536, 4294967294});
    const auto expected = walk("1.3");
    ASSERT_THAT(expected, SizeIs(3 * 7 + 1));
    EXPECT_EQ(expected[1], number("1.3.5.1.2", 2));
    EXPECT_EQ(expected[7], text("1.3.5.2.1", "p1"));
    EXPECT_EQ(expected.back(), number("1.3.6.0", 6));
    EXPECT_EQ(walk("1.3", 0, kVersion1), expected);
    for (const size_t page : {1U, 2U, 3U, 1000U}) {
        ports.pageSize = page + 1;
        for (uint32_t repetitions = 1; repetitions <= 50; ++repetitions) EXPECT_EQ(walk("1.3", repetitions), expected);
    }

    // Several columns at once: one step of each column in each reply.
    std::vector<std::string> names = {"1.3.5.1", "1.3.5.2", "1.3.5.4"};
    std::vector<std::vector<wire::Binding>> columns(3);
    for (size_t step = 0; step < 7; ++step) {
        const wire::Message reply = next(names);
        ASSERT_THAT(reply.bindings, SizeIs(3));
        for (size_t i = 0; i < 3; ++i) {
            columns[i].push_back(reply.bindings[i]);
            names[i] = reply.bindings[i].name;
        }
    }
    for (size_t i = 0; i < 21; ++i) EXPECT_EQ(columns[i / 7][i % 7], expected[i]);
}

TEST_F(ColumnarTest, OneFetchServesAllRepetitionsOfAColumn) {
    for (uint32_t id = 1; id <= 100; ++id) hasPorts({id});
    ports.fetches = 0;
    EXPECT_THAT(bulk({"1.3.5.1.10", "1.3.5.2.10", "1.3.5.4.10"}, 0, 20).bindings, SizeIs(60));
    EXPECT_EQ(ports.fetches, 3U);
    EXPECT_EQ(ports.requests.back().get_u32(tn::field::MaxObjects), 21U);
    ports.fetches = 0;
    (void)get({"1.3.5.2.10"});
    EXPECT_EQ(ports.fetches, 1U);
    EXPECT_EQ(ports.requests.back().get_u32(tn::field::MaxObjects), 1U);
    EXPECT_EQ(ports.requests.back().get_u32(tn::field::Continue), 10U);
}

TEST_F(ColumnarTest, AWrapUsesTheFirstRowsOnceForEveryColumn) {
    hasPorts({1, 2, 3});
    ports.fetches = 0;
    const wire::Message reply = bulk({"1.3.5.1.2"}, 0, 9);
    EXPECT_THAT(reply.bindings, ElementsAre(number("1.3.5.1.3", 3), text("1.3.5.2.1", "p1"), text("1.3.5.2.2", "p2"),
                                            text("1.3.5.2.3", "p3"), number("1.3.5.4.1", 10), number("1.3.5.4.2", 20),
                                            number("1.3.5.4.3", 30), number("1.3.6.0", 6), endOfView("1.3.5.1.2")));
    EXPECT_EQ(ports.fetches, 2U);
}

TEST_F(ColumnarTest, GetOfWhatIsNotThere) {
    hasPorts({1, 2});
    const auto missing = [](const std::string& name) { return wire::Binding{name, tag::NoSuchInstance, ""}; };
    EXPECT_THAT(get({"1.3.5.1.1", "1.3.5", "1.3.5.1", "1.3.5.3.1", "1.3.5.1.9", "1.3.5.1.1.0", "1.3.5.2.2"}).bindings,
                ElementsAre(number("1.3.5.1.1", 1), missing("1.3.5"), missing("1.3.5"), missing("1.3.5.3.1"),
                            missing("1.3.5.1.9"), missing("1.3.5.1.1.0"), text("1.3.5.2.2", "p2")));
    EXPECT_THAT(get({"1.3.5.1.4294967295"}).bindings, ElementsAre(missing("1.3.5.1.4294967295")));

    const wire::Message v1 = get({"1.3.5.1.1", "1.3.5.1.2", "1.3.5.1.9", "1.3.5.2.1"}, kVersion1);
    EXPECT_EQ(v1.errorStatus, 2U);
    EXPECT_EQ(v1.errorIndex, 3U);
    EXPECT_THAT(v1.bindings,
                ElementsAre(number("1.3.5.1.1", 1), number("1.3.5.1.2", 2), null("1.3.5.1.9"), null("1.3.5.2.1")));
}

TEST_F(ColumnarTest, GetNextAnswersAreGreaterWhateverTheIndex) {
    hasPorts({1, 2, 300});
    const std::pair<const char*, const char*> steps[] = {
        {"1.3.5", "1.3.5.1.1"},        {"1.3.5.0", "1.3.5.1.1"},     {"1.3.5.0.7", "1.3.5.1.1"},
        {"1.3.5.1.0", "1.3.5.1.1"},    {"1.3.5.1.2", "1.3.5.1.300"}, {"1.3.5.1.2.5.5", "1.3.5.1.300"},
        {"1.3.5.1.17", "1.3.5.1.300"}, {"1.3.5.1.300", "1.3.5.2.1"}, {"1.3.5.1.4294967295", "1.3.5.2.1"},
        {"1.3.5.3.2", "1.3.5.4.1"},  // the next column that is served, from its first row
        {"1.3.5.4.300", "1.3.6.0"},
    };
    for (const auto& [name, expected] : steps)
        EXPECT_EQ(next({name}).bindings.at(0).name, expected) << "after " << name;
    EXPECT_THAT(next({"1.3.5.5"}).bindings, ElementsAre(endOfView("1.3.5.5")));
    EXPECT_EQ(next({"1.3.5.5"}, kVersion1).errorStatus, 2U);
}

TEST_F(ColumnarTest, EachItemOfAGroupGetsItsOwnAnswer) {
    hasPorts({1, 2});
    EXPECT_THAT(bulk({"1.3.5.1", "1.3.5.9", "1.3.5.2.1"}, 0, 2).bindings,
                ElementsAre(number("1.3.5.1.1", 1), number("1.3.5.1.2", 2), endOfView("1.3.5.9"), endOfView("1.3.5.9"),
                            text("1.3.5.2.2", "p2"), number("1.3.5.4.1", 10)));
    const wire::Message v1 = next({"1.3.5.1", "1.3.5.2", "1.3.5.9", "1.3.5.1"}, kVersion1);
    EXPECT_EQ(v1.errorIndex, 3U);
    EXPECT_THAT(v1.bindings,
                ElementsAre(number("1.3.5.1.1", 1), text("1.3.5.2.1", "p1"), null("1.3.5.9"), null("1.3.5.1")));
    EXPECT_THAT(
        bulk({"1.3.5.1", "1.3.5.1.1", "1.3.5.2"}, 2, 2).bindings,
        ElementsAre(number("1.3.5.1.1", 1), number("1.3.5.1.2", 2), text("1.3.5.2.1", "p1"), text("1.3.5.2.2", "p2")));
}

TEST_F(ColumnarTest, AnEmptyTableIsSteppedOver) {
    EXPECT_THAT(next({"1.3.5"}).bindings, ElementsAre(number("1.3.6.0", 6)));
    EXPECT_THAT(next({"1.3.5.1.7"}).bindings, ElementsAre(number("1.3.6.0", 6)));
    EXPECT_THAT(bulk({"1.3.5.2"}, 0, 2).bindings, ElementsAre(number("1.3.6.0", 6), endOfView("1.3.5.2")));
}

TEST_F(ColumnarTest, ARowRemovedDuringAWalkDoesNotEndIt) {
    hasPorts({1, 2, 3, 4});
    EXPECT_THAT(next({"1.3.5.1.1"}).bindings, ElementsAre(number("1.3.5.1.2", 2)));
    ports.loses(2);
    EXPECT_THAT(next({"1.3.5.1.2"}).bindings, ElementsAre(number("1.3.5.1.3", 3)));
    ports.loses(4);
    EXPECT_THAT(next({"1.3.5.1.4"}).bindings, ElementsAre(text("1.3.5.2.1", "p1")));
    hasPorts({2});
    EXPECT_THAT(bulk({"1.3.5.1.1"}, 0, 2).bindings, ElementsAre(number("1.3.5.1.2", 2), number("1.3.5.1.3", 3)));
}

TEST_F(ColumnarTest, AnOwnerThatIsDownCostsItsOwnRows) {
    hasPorts({1});
    ports.lies = [](const tn::message&) { return tn::errorMsg(tn::error::Unreachable, "nobody there"); };
    EXPECT_THAT(next({"1.3.5.1", "1.3.6"}).bindings, ElementsAre(number("1.3.6.0", 6), number("1.3.6.0", 6)));
    ports.lies = [](const tn::message&) { return tn::errorMsg(tn::error::NotFound, "unknown row"); };
    EXPECT_THAT(next({"1.3.5.1.1"}).bindings, ElementsAre(endOfView("1.3.5.1.1")));  // it doesn't know the key
}

TEST_F(ColumnarTest, WhatStandsForARowThatHasGoneIsNoRow) {
    ports.lies = [](const tn::message&) {
        tn::message reply;
        tn::message& gone = reply.get_message_array_ref(tn::field::Objects).emplace_back();
        gone.insert_bool(tn::field::Gone, true);
        gone.insert_u32(tn::field::ObjectId, 9);
        return reply;
    };
    EXPECT_EQ(get({"1.3.5.1.9"}).bindings[0].tag, tag::NoSuchInstance);
    EXPECT_THAT(next({"1.3.5.1.8"}).bindings, ElementsAre(number("1.3.6.0", 6)));
}

TEST_F(ColumnarTest, NonsenseOfAnOwnerIsBoundedAndNeverAnswered) {
    hasPorts({1, 2, 3});
    const auto items = [](const std::vector<uint32_t>& ids, uint32_t next) {
        tn::message reply;
        for (const uint32_t id : ids) {
            tn::message& item = reply.get_message_array_ref(tn::field::Objects).emplace_back();
            item.insert_u32(tn::field::ObjectId, id);
            item.insert_u32(tn::field::NextId, next);
        }
        reply.insert_u32(tn::field::Continue, next);
        return reply;
    };
    const std::vector<std::function<tn::message(const tn::message&)>> lies = {
        [&](const tn::message&) {
            return items({5, 5, 4, 3, 9, 9}, 1);
        },                                                                            // repeats, goes back
        [&](const tn::message&) { return items({7}, 7); },                            // stands still
        [&](const tn::message&) { return items({}, 3); },                             // goes on without items
        [&](const tn::message&) { return items(std::vector<uint32_t>(500, 8), 9); },  // more than asked, all one row
        [&](const tn::message& m) {
            return items({m.get_u32(tn::field::Continue)}, m.get_u32(tn::field::Continue) + 1);
        },
        [](const tn::message&) {
            tn::message reply;  // wrong kinds, missing ids
            reply.insert_string(tn::string_id{tn::field::Objects.number}, "x");
            reply.insert_message_array(tn::field::Objects, std::vector<tn::message>(3));
            reply.insert_u32(tn::field::Continue, 1);
            return reply;
        },
    };
    for (const auto& lie : lies) {
        ports.lies = lie;
        ports.fetches = 0;
        for (const uint32_t repetitions : {1U, 7U, 50U}) {
            for (const char* from : {"1.3.5", "1.3.5.1.4", "1.3.5.2.8"}) {
                std::string last = from;
                for (const wire::Binding& b : bulk({from}, 0, repetitions).bindings) {
                    if (b.tag == tag::EndOfMibView) break;
                    EXPECT_LT(OID(last), OID(b.name));
                    last = b.name;
                }
                (void)get({std::string(from) + ".1"});
            }
        }
        EXPECT_LT(ports.fetches, 3000U);
    }
}

TEST_F(ColumnarTest, ASetSendsTheRowBackToItsOwner) {
    hasPorts({1, 2});
    EXPECT_THAT(set({number("1.3.5.4.2", 77)}).bindings, ElementsAre(number("1.3.5.4.2", 77)));
    const tn::message sent = ports.requests.back();
    EXPECT_EQ(sent.get_u32(tn::field::Command), tn::cmd::Set);
    EXPECT_EQ(sent.get_u32(tn::field::ObjectId), 2U);
    EXPECT_EQ(sent.get_u32(2), 77U);
    for (const char* name : {"1.3.5", "1.3.5.4", "1.3.5.3.2", "1.3.5.4.9", "1.3.5.4.2.0"})
        EXPECT_EQ(set({number(name, 1)}).errorStatus, 2U) << name;
}

TEST_F(ColumnarTest, TwoHundredBindingsOverMixedObjects) {
    hasPorts({1, 2});
    std::vector<std::string> names;
    for (int i = 0; i < 50; ++i) names.insert(names.end(), {"1.3.5.1.1", "1.3.6.0", "1.3.5.4.2", "1.3.5.2.9"});
    const wire::Message reply = get(names);
    ASSERT_THAT(reply.bindings, SizeIs(200));
    for (size_t i = 0; i < 200; ++i) EXPECT_EQ(reply.bindings[i].name, names[i]);
}

/// Routes by address and mask at 1.3.7: keyed by content.
class KeyedTableTest : public ColumnarTest {
  protected:
    KeyedTableTest() {
        agent->addHandler(std::vector<uint32_t>{44, 1}, &routes);
        routes.keyFields = {tn::be32_id{3}, tn::be32_id{4}};
        auto* provider = keep<GetAllProvider>(std::vector<uint32_t>{44, 1}, oneRow<Port::build>, 5U);
        MapTable* table = keepTable(provider, {{packerFor(kAddress), 3U}, {packerFor(kMask), 4U}});
        ColumnarBranch* branch = addColumnarBranch(OID{1, 3, 7}, table);
        branch->addLeaf(1, packerFor(kPortColumns[2]));
        branch->addLeaf(2, packerFor(kPortColumns[1]));
    }
    void hasRoute(uint32_t id, uint32_t address, uint32_t mask) {
        routes.row(id).insert_be32(3, address);
        routes.row(id).insert_be32(4, mask);
        routes.row(id).insert_u32(2, id);
    }
    TableOwner routes;
};

TEST_F(KeyedTableTest, WalksByContentInEveryPageSize) {
    hasRoute(9, 0, 0);
    hasRoute(3, 0x0a000000, 0xff000000);
    hasRoute(2, 0x0a000000, 0xffff0000);
    hasRoute(1, 0xc0000200, 0xffffff00);
    const auto expected = walk("1.3.7");
    ASSERT_THAT(expected, SizeIs(8));
    EXPECT_EQ(expected[1], number("1.3.7.1.10.0.0.0.255.0.0.0", 3));
    EXPECT_EQ(expected[3], number("1.3.7.1.192.0.2.0.255.255.255.0", 1));
    for (const size_t page : {2U, 3U, 1000U}) {
        routes.pageSize = page;
        EXPECT_EQ(walk("1.3.7"), expected);
        for (uint32_t repetitions = 1; repetitions <= 9; ++repetitions) {
            const auto rows = bulk({"1.3.7.1"}, 0, repetitions).bindings;
            for (size_t i = 0; i < std::min<size_t>(repetitions, 8); ++i) EXPECT_EQ(rows[i], expected[i]);
        }
    }
}

TEST_F(KeyedTableTest, IncompleteAndImpossibleIndexesStartAtTheNearestRow) {
    hasRoute(1, 0x0a000000, 0xff000000);
    hasRoute(2, 0x0a000001, 0xff000000);
    hasRoute(3, 0xc0000200, 0xffffff00);
    const std::pair<const char*, uint32_t> steps[] = {
        {"1.3.7.1.10", 1},
        {"1.3.7.1.10.0.0.0.255", 1},
        {"1.3.7.1.10.0.0.0.255.0.0.0", 2},
        {"1.3.7.1.10.0.0.0.255.0.0.0.9", 2},
        {"1.3.7.1.10.0.0.0.256.0.0.0", 2},
        {"1.3.7.1.10.0.0.300", 3},
        {"1.3.7.1.10.0.0.0.4294967295", 2},
        {"1.3.7.1.0", 1},
    };
    for (const auto& [name, value] : steps)
        EXPECT_EQ(next({name}).bindings.at(0).value, std::to_string(value)) << "after " << name;
    EXPECT_EQ(get({"1.3.7.1.10.0.0.0"}).bindings.at(0).name, "1.3.7");  // incomplete: the bad-key case
    EXPECT_EQ(get({"1.3.7.1.10.0.0.0.255.0.0.0"}).bindings.at(0).value, "1");
}

TEST_F(KeyedTableTest, OfTwoRowsWithOneIndexTheSecondIsLeftOut) {
    hasRoute(1, 0x0a000000, 0xff000000);
    hasRoute(2, 0x0a000000, 0xff000000);
    hasRoute(3, 0x0b000000, 0xff000000);
    EXPECT_THAT(walk("1.3.7"), SizeIs(4));
    EXPECT_THAT(bulk({"1.3.7.1"}, 0, 2).bindings,
                ElementsAre(number("1.3.7.1.10.0.0.0.255.0.0.0", 1), number("1.3.7.1.11.0.0.0.255.0.0.0", 3)));
}

/// Two owners and a function in one table at 1.3.8, added out of order.
class MultiTableTest : public ColumnarTest {
  protected:
    static std::unique_ptr<Data> low(const tn::message& m) { return based(m, 0x20000); }
    static std::unique_ptr<Data> high(const tn::message& m) { return based(m, 0x30000); }
    static std::unique_ptr<Data> based(const tn::message& m, uint32_t base) {
        auto port = Port::build(m);
        static_cast<Port&>(*port).id |= base;
        return port;
    }
    static void chassis(Rows& rows) {
        auto port = std::make_unique<Port>();
        port->id = 0x10000;
        port->name = "chassis";
        rows.push_back(std::move(port));
    }
    MultiTableTest() {
        agent->addHandler(std::vector<uint32_t>{24, 5}, &lows);
        agent->addHandler(std::vector<uint32_t>{24, 6}, &highs);
        auto* provider = keep<GetAllMultiProvider>();
        provider->addSource(oneRow<high>, {24, 6}, 5, 0x30000);
        provider->addSource(chassis, 0x10000);
        provider->addSource(oneRow<low>, {24, 5}, 5, 0x20000);
        table = keepTable(provider, {{packerFor(kPortColumns[0]), tn::field::ObjectId.number}});
        addColumns(addColumnarBranch(OID{1, 3, 8}, table), kPortColumns);
        for (const uint32_t id : {1U, 2U, 5U}) {
            lows.row(id).insert_string(1, "low");
            highs.row(id).insert_string(1, "high");
        }
    }
    TableOwner lows, highs;
    MapTable* table;
};

TEST_F(MultiTableTest, AWalkCrossesAllSourcesInOrder) {
    std::vector<std::string> expected;
    for (const uint32_t id : {0x10000U, 0x20001U, 0x20002U, 0x20005U, 0x30001U, 0x30002U, 0x30005U})
        expected.push_back(std::to_string(id));
    const auto walked = walk("1.3.8");
    ASSERT_THAT(walked, SizeIs(21));
    for (size_t i = 0; i < 7; ++i) EXPECT_EQ(walked[i].value, expected[i]);
    for (uint32_t repetitions = 1; repetitions <= 30; ++repetitions) {
        const auto rows = bulk({"1.3.8.1"}, 0, repetitions).bindings;
        for (size_t i = 0; i < std::min<size_t>(repetitions, 21); ++i) EXPECT_EQ(rows[i], walked[i]);
    }
    EXPECT_EQ(table->count(), 7U);
    EXPECT_THAT(
        get({"1.3.8.2.65536", "1.3.8.2.131074", "1.3.8.2.196613"}).bindings,
        ElementsAre(text("1.3.8.2.65536", "chassis"), text("1.3.8.2.131074", "low"), text("1.3.8.2.196613", "high")));
    for (const char* name : {"1.3.8.2.0", "1.3.8.2.65537", "1.3.8.2.131075"})
        EXPECT_EQ(get({name}).bindings.at(0).tag, tag::NoSuchInstance) << name;
    EXPECT_EQ(next({"1.3.8.1.65537"}).bindings.at(0).value, "131073");
    EXPECT_EQ(next({"1.3.8.1.3"}).bindings.at(0).value, "65536");
}

TEST_F(MultiTableTest, ASourceThatIsDownCostsItsOwnRowsAndASetFindsItsSource) {
    (void)set({number("1.3.8.4.196610", 1)});
    EXPECT_EQ(highs.requests.back().get_u32(tn::field::Command), tn::cmd::Set);
    lows.lies = [](const tn::message&) { return tn::errorMsg(tn::error::TimedOut, "hangs"); };
    const auto walked = walk("1.3.8");
    ASSERT_THAT(walked, SizeIs(12));
    EXPECT_EQ(walked[1].value, std::to_string(0x30001));
}

struct Slot : MuxRow {
    unsigned int value = 0;
};

/// Gives a record with this value, and takes another in its place.
class SlotProvider : public DataProvider {
  public:
    std::unique_ptr<Data> get() override {
        auto slot = std::make_unique<Slot>();
        slot->value = value;
        return slot;
    }
    bool set(Data* record) override {
        value = static_cast<Slot*>(record)->value;
        return true;
    }
    unsigned int value = 0;
};

TEST_F(ColumnarTest, AFixedTableServesItsRegisteredRecords) {
    SlotProvider slots[3];
    StaticMuxTable table;
    for (unsigned int i : {2U, 0U, 1U}) {
        slots[i].value = i + 10;
        table.addProvider(OID{(i + 1) * 5}, &slots[i]);
    }
    constexpr Column<Slot> kValue = {1, "value", tag::Integer, &Slot::value};
    addColumnarBranch(OID{1, 3, 9}, &table)->addLeaf(1, packerFor(kValue));
    const auto rows = walk("1.3.9");
    EXPECT_THAT(rows, ElementsAre(number("1.3.9.1.5", 10), number("1.3.9.1.10", 11), number("1.3.9.1.15", 12)));
    EXPECT_THAT(bulk({"1.3.9.1.7"}, 0, 3).bindings,
                ElementsAre(number("1.3.9.1.10", 11), number("1.3.9.1.15", 12), endOfView("1.3.9.1.7")));
    EXPECT_EQ(table.count(), 3U);
    (void)set({number("1.3.9.1.10", 99)});
    EXPECT_EQ(slots[1].value, 99U);
    EXPECT_EQ(get({"1.3.9.1.6"}).bindings.at(0).tag, tag::NoSuchInstance);
}

TEST_F(ColumnarTest, TheFirstMatchingRowIsFoundAnew) {
    GetFirstProvider first({20, 0}, [](const tn::message& m) -> std::unique_ptr<Data> {
        return m.get_u32(2) >= 30 ? Port::build(m) : nullptr;
    });
    EXPECT_EQ(first.getFirstObjId(), tn::kNoId);
    hasPorts({1, 3, 4});
    sources.uptime += 10;  // until then it isn't looked for
    EXPECT_EQ(first.getFirstObjId(), 3U);
    ports.loses(3);
    EXPECT_EQ(static_cast<Port&>(*first.get()).id, 4U);
    EXPECT_EQ(first.getFirstObjId(), 4U);
}

}  // namespace
}  // namespace snmp
