#include "agent/ber/view.h"

#include <gtest/gtest.h>

#include <random>

namespace snmp {
namespace {

OID randomName(std::minstd_rand& random, size_t minimum) {
    OID name;
    const size_t size = minimum + random() % 4;
    for (size_t i = 0; i < size; ++i) name += random() % 8 == 0 ? UINT32_MAX : static_cast<uint32_t>(random() % 3);
    return name;
}

/// Whether the longest root that a name begins with is included; an excluded one counts if there are two.
bool isIncludedByLongest(const std::vector<View::Subtree>& subtrees, const OID& name) {
    for (size_t length = name.size() + 1; length-- > 0;) {
        bool isFound = false, isExcluded = false;
        for (const auto& [root, excluded] : subtrees) {
            if (root.size() != length || !name.hasPrefix(root)) continue;
            isFound = true;
            isExcluded = isExcluded || excluded;
        }
        if (isFound) return !isExcluded;
    }
    return false;
}

TEST(View, TheLongestSubtreeDecidesAndSkippingMissesNothingVisible) {
    std::minstd_rand random(1);
    for (int round = 0; round < 300; ++round) {
        std::vector<View::Subtree> subtrees(1 + random() % 5);
        for (View::Subtree& subtree : subtrees) subtree = {randomName(random, 0), random() % 2 == 0};
        const View view(subtrees);
        EXPECT_EQ(view.subtrees(), subtrees);
        std::vector<OID> names;
        for (int i = 0; i < 60; ++i) names.push_back(randomName(random, 1));
        for (const OID& name : names) {
            ASSERT_EQ(view.has(name), isIncludedByLongest(subtrees, name)) << name << " round " << round;
            if (view.has(name)) continue;
            const std::optional<OID> next = view.skip(name);
            ASSERT_TRUE(!next || *next >= name);
            for (const OID& other : names)
                ASSERT_FALSE(name < other && (!next || other <= *next) && view.has(other))
                    << name << " skips " << other << " round " << round;
        }
    }
}

TEST(View, SkipsWholeSubtreesToTheNextVisiblePart) {
    const View view({{{1, 3}, false}, {{1, 3, 5}, true}, {{1, 3, 5, 4, 0}, false}, {{2}, true}});
    EXPECT_EQ(view.skip({1, 2}), (OID{1, 2, UINT32_MAX}));
    EXPECT_EQ(view.skip({1, 3, 5, 1, 7}), (OID{1, 3, 5, 4}));
    EXPECT_EQ(view.skip({1, 3, 5, 4, 1}), (OID{1, 3, 5, UINT32_MAX}));
    EXPECT_EQ(view.skip({1, 4}), std::nullopt);
    EXPECT_TRUE(View().has({0}) && !view.has({1, 4}));
}

}  // namespace
}  // namespace snmp
