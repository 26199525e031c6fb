#include "hostd/table/stable_ids.h"

#include <gmock/gmock.h>

namespace hostd {

using ::testing::ElementsAre;
using ::testing::Pair;

TEST(StableIds, RowsKeepTheirIdsAndNeverShareOne) {
    struct Thing {
        std::string key;
        uint32_t liked;
        [[nodiscard]] uint32_t preferredId() const { return liked; }
    };
    constexpr IdRange kRange{1, 4};
    const auto row = [](uint32_t id, const char* key) { return Pair(id, ::testing::Field(&Thing::key, key)); };
    auto rows = assignIds<Thing>({}, {{"a", 3}, {"b", 3}}, kRange);
    EXPECT_THAT(rows, ElementsAre(row(1, "b"), row(3, "a")));
    rows = assignIds(rows, {{"c", 1}, {"b", 3}, {"a", 3}}, kRange);
    EXPECT_THAT(rows, ElementsAre(row(1, "b"), row(2, "c"), row(3, "a")));
    rows = assignIds(rows, {{"b", 3}, {"d", 1}, {"e", 1}, {"f", 1}}, kRange);  // no room for the last
    EXPECT_THAT(rows, ElementsAre(row(1, "b"), row(2, "d"), row(3, "e")));
}

}  // namespace hostd
