#include "agent/mib/table.h"

#include "tests/agent/mib/ports.h"

namespace snmp {
namespace {

using testing::IsNull;

struct Neighbor : Data {
    unsigned int link = 0;
    unsigned int address = 0;
};

constexpr tn::u32_id kLinkField{1};
constexpr tn::be32_id kAddressField{2};

constexpr Column<Neighbor> kLink = {1, "link", tag::Integer, &Neighbor::link};
constexpr Column<Neighbor> kAddress = {2, "address", tag::IpAddress, &Neighbor::address};

/// A source that knows no key. It records how many rows were requested.
class NoRows : public TableProvider {
  public:
    bool setData(Data*, const MapTable*) override { return false; }
    std::unique_ptr<VData> getData(const Key&, const MapTable*, unsigned int count) override {
        counts.push_back(count);
        return nullptr;
    }
    std::unique_ptr<VData> getFirst(unsigned int, const MapTable*) override { return std::make_unique<VData>(); }
    bool getCountCMD(unsigned int& n) override {
        n = 7;
        return false;
    }
    std::vector<unsigned int> counts;
};

TEST(MapTable, AnIndexBecomesAnIdOrAMessage) {
    NoRows rows;
    MapTable byId(&rows, false), byMessage(&rows, /*noStdKey=*/true), byBoth(&rows, false);
    for (MapTable* table : {&byId, &byMessage}) table->addIndex(packerFor(kLink), tn::field::ObjectId.number);
    byBoth.addIndex(packerFor(kLink), kLinkField.number);
    byBoth.addIndex(packerFor(kAddress), kAddressField.number);
    EXPECT_TRUE(byId.hasStdKey());
    EXPECT_FALSE(byMessage.hasStdKey() || byBoth.hasStdKey());

    const Key id = byId.createKey(OID{7, 9}, true);
    EXPECT_EQ(std::pair(id.objectId, id.index), std::pair(7U, OID{7, 9}));
    EXPECT_EQ(byMessage.createKey(OID{7}, true).message, messageOf({{tn::field::ObjectId, 7U}}));
    const Key whole = byBoth.createKey(OID{7, 10, 0, 0, 1}, true);
    EXPECT_EQ(whole.message, messageOf({{kLinkField, 7U}, {kAddressField, Ip4{0x0a000001}}}));
    EXPECT_FALSE(whole.bad || whole.relaxed);
    for (const MapTable* table : {&byId, &byMessage, &byBoth}) EXPECT_TRUE(table->createKey({}, false).empty());
}

TEST(MapTable, AnIncompleteIndexIsBadForAGetAndTheNearestRowForAWalk) {
    NoRows rows;
    MapTable table(&rows, false);
    table.addIndex(packerFor(kLink), kLinkField.number);
    table.addIndex(packerFor(kAddress), kAddressField.number);
    const std::pair<OID, uint32_t> cases[] = {{{7}, 0},
                                              {{7, 10, 0, 0}, 0x0a000000},
                                              {{7, 10, 256}, 0x0affffff},  // after all that begin with 10
                                              {{7, 300, 1, 1, 1}, 0xffffffff}};
    for (const auto& [index, address] : cases) {
        EXPECT_TRUE(table.createKey(index, true).bad) << index;
        const Key key = table.createKey(index, false);
        EXPECT_TRUE(key.relaxed && !key.bad) << index;
        EXPECT_TRUE(key.message.get_bool(tn::field::KeyIncomplete));
        EXPECT_EQ(key.message.get_u32(kLinkField), 7U) << index;
        EXPECT_EQ(key.message.get_be32(kAddressField), address) << index;
    }
}

TEST(MapTable, NothingFollowsTheGreatestIdAndWhatFailsCountsAsNone) {
    NoRows rows;
    MapTable table(&rows, false);
    table.addIndex(packerFor(kLink), tn::field::ObjectId.number);
    EXPECT_TRUE(table.getNext(table.createKey(OID{4294967295}, false), 3)->rows.empty());
    EXPECT_THAT(table.getNext(table.createKey(OID{4294967294}, false), 3), IsNull());
    EXPECT_THAT(table.get(table.createKey(OID{1}, true)), IsNull());
    EXPECT_THAT(rows.counts, ElementsAre(3, 0));
    EXPECT_EQ(table.count(), 0U);
}

struct Slot : MuxRow {
    unsigned int value = 0;
};

/// Gives a record with this value unless it is 0, and takes another in its place.
class SlotProvider : public DataProvider {
  public:
    std::unique_ptr<Data> get() override {
        if (value == 0) return nullptr;
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

using StaticMuxTableTest = AgentTest;

TEST_F(StaticMuxTableTest, ServesTheRegisteredRecordsThatAreThere) {
    opensCommon(true);
    SlotProvider slots[4];
    StaticMuxTable table;
    for (unsigned i : {2U, 0U, 3U, 1U}) {
        if (i != 2) slots[i].value = i + 10;
        table.addProvider(OID{(i + 1) * 5}, &slots[i]);
    }
    constexpr Column<Slot> kSlotValue = {1, "value", tag::Integer, &Slot::value};
    addColumnarBranch(OID{1, 3, 9}, &table)->addLeaf(1, packerFor(kSlotValue));
    EXPECT_THAT(walk("1.3.9"),
                ElementsAre(number("1.3.9.1.5", 10), number("1.3.9.1.10", 11), number("1.3.9.1.20", 13)));
    EXPECT_THAT(bulk({"1.3.9.1.5", "1.3.9.1.7"}, 1, 3).bindings,
                ElementsAre(number("1.3.9.1.10", 11), number("1.3.9.1.10", 11), number("1.3.9.1.20", 13),
                            endOfView("1.3.9.1.7")));
    EXPECT_EQ(table.count(), 4U);
    EXPECT_EQ(table.getFirst(2)->rows.size(), 2U);
    (void)set({number("1.3.9.1.10", 99)});
    EXPECT_EQ(slots[1].value, 99U);
    EXPECT_EQ(values({"1.3.9.1.6", "1.3.9.1.15", "1.3.9.1.10.0"}), "- - -");
    EXPECT_FALSE(table.set(OID{6}, nullptr));
}

}  // namespace
}  // namespace snmp
