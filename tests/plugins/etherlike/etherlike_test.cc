#include "contracts/interface_counters.h"
#include "contracts/interfaces.h"
#include "hostd/table/id_table.h"
#include "tests/plugins/plugin_test.h"

namespace snmp {
namespace {

namespace interfaces = contracts::interfaces;

/// 300 interfaces, of which every hundredth is Ethernet, so that a page of items can be without a row.
class EtherlikeTest : public PluginTest {
  protected:
    class Owner : public hostd::IdTable {
        uint32_t rowCount() const override { return 300; }
        std::optional<uint32_t> firstFrom(uint32_t id) const override {
            return id > 300 ? std::nullopt : std::optional(std::max(id, 1U));
        }
        void writeRow(uint32_t id, tn::message& row) const override {
            using namespace contracts::interface_counters;
            const hostd::WantedFields& w = wanted();
            if (w.has(interfaces::Type)) row.insert_u32(interfaces::Type, id % 100 == 0 ? 6 : 135);
            if (w.has(interfaces::Duplex) && id != 300) row.insert_u32(interfaces::Duplex, id / 100 + 1);
            if (w.has(RxFcsErrors)) row.insert_u64(RxFcsErrors, 0x1'0000'0000 + id);
            if (w.has(TxSingleCollision)) row.insert_u64(TxSingleCollision, 7);
        }
    } owner;
    EtherlikeTest() : PluginTest("etherlike") {
        agent->addHandler(interfaces::kPath, &owner);
        load();
    }
    const std::string stats = "1.3.6.1.2.1.10.7.2.1.", hcStats = "1.3.6.1.2.1.10.7.11.1.";
};

TEST_F(EtherlikeTest, OnlyEthernetLinksHaveRowsInWhateverColumn) {
    for (const uint32_t repetitions : {0U, 1U, 40U}) {
        const auto all = walk("1.3.6.1.2.1.10.7.2.1", repetitions);
        ASSERT_EQ(all.size(), 17U * 3) << repetitions;
        for (size_t i = 0; i < all.size(); ++i)
            EXPECT_THAT(all[i].name, testing::EndsWith(std::to_string(i % 3 + 1) + "00"));
    }
    EXPECT_EQ(walk("1.3.6.1.2.1.10.7.11.1", 5).size(), 6U * 3);
    EXPECT_EQ(row(stats, {1, 2, 3, 4, 19, 20, 21}, "100"), "100 0 100 7 2 2 1");
    EXPECT_EQ(value(hcStats + "2.100"), "4294967396");
    EXPECT_EQ(values({stats + "19.200", stats + "19.300", stats + "19.150", stats + "20.150"}), "3 1 - -");
}

}  // namespace
}  // namespace snmp
