#include "agent/mib/table.h"

#include "tests/agent/mib/ports.h"

namespace snmp {
namespace {

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
