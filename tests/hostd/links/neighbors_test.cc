#include "hostd/links/neighbors.h"

#include "contracts/neighbors.h"
#include "hostd/table/row_text.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/manual_clock.h"
#include "tests/hostd/source/scripted_source.h"
#include "tn/looper.h"

namespace hostd {

namespace neighbors = contracts::neighbors;

TEST(Neighbors, AreThereFromTheFirstWalkOnAndKeepTheirIds) {
    ManualClock clock;
    ScriptedSource heard(
        Reading<Neighbor>{"", {{"eth0-a", 0xc0000201, {1, 2, 3, 4, 5, 6}, "a", "", "OS 1", "port 1"}}});
    Neighbors table(heard.reader());
    const auto rows = rowsOf(table);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].get_be32(neighbors::Address), 0xc0000201U);
    EXPECT_EQ(rows[0].get_raw(neighbors::Mac).size(), 6U);
    EXPECT_EQ(rows[0].get_string(neighbors::Version), "OS 1");
    EXPECT_FALSE(rows[0].has(neighbors::Platform));

    const std::string lengthy(9999, 'b');
    const std::string a = std::to_string(preferredIdOf("eth0-a")) + ":";
    const std::string b = std::to_string(preferredIdOf("eth1-b")) + ":";
    const std::pair<Reading<Neighbor>, std::vector<std::string>> cases[] = {
        {{"", {{"eth1-b", 0, {}, "b", "", "", ""}, {"eth0-a", 0, {}, "a2", "", "", ""}}}, {a + "a2", b + "b"}},
        {{"", {{"eth1-b", 0, {}, lengthy, "", "", ""}}}, {b + lengthy.substr(0, kMaxText)}},
        {{"lldpd doesn't answer", {}}, {}},
    };
    for (const auto& [reading, expected] : cases) {
        heard.gives(reading);
        clock.time += Neighbors::kMaxAge;
        EXPECT_EQ(listed(table, neighbors::Identity), expected);
    }
    const int before = heard.readings();
    clock.time += 60'000ms;
    tn::Looper looper({});  // made after the owners, as in both programs
    looper.addHandler(10, &table);
    EXPECT_TRUE(eventually([&] { return heard.readings() > before; })) << "not read ahead";
}

}  // namespace hostd
