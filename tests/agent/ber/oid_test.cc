#include "agent/ber/oid.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace snmp {
namespace {

TEST(Oid, TextIsParsedWithoutErrorsAndBothPrintedFormsParseBack) {
    const std::pair<const char*, OID> cases[] = {
        {"", {}},         {"1.3.6.1.2.1", {1, 3, 6, 1, 2, 1}},
        {".1.3", {1, 3}}, {"1.3.", {1, 3}},
        {"1..3", {1, 3}}, {"1...3", {1, 0, 3}},
        {".", {0}},       {"1..", {1, 0}},
        {"1a2", {1, 2}},  {"abc", {0, 0, 0}},
        {"-1", {0, 1}},   {"4294967295.4294967296.4294967303", {4294967295, 0, 7}},
    };
    for (const auto& [text, oid] : cases) {
        EXPECT_EQ(OID(std::string(text)), oid) << text;
        std::ostringstream stream;
        stream << oid;
        EXPECT_EQ(OID(stream.str()), oid);
        EXPECT_EQ(oid.str(), oid.empty() ? "" : "." + stream.str());
    }
    OID twice{1, 3};
    twice += twice;
    EXPECT_EQ(twice + OID{} + 4, (OID{1, 3, 1, 3, 4}));
}

TEST(Oid, OrderIsUnsignedAndPrefixFirst) {
    const OID ascending[] = {{},           {0},       {1}, {1, 3, 6}, {1, 3, 6, 0}, {1, 3, 6, 1, 4294967295},
                             {1, 3, 6, 2}, {1, 3, 7}, {2}};
    for (const OID& a : ascending) {
        for (const OID& b : ascending) {
            EXPECT_EQ(a < b, &a < &b) << a << " " << b;
            EXPECT_EQ(a == b, &a == &b) << a << " " << b;
            EXPECT_EQ(a.compare(0, a.size(), b), &a < &b ? -1 : &a > &b) << a << " " << b;
        }
    }
    const std::map<OID, int> ordered = {{OID{1, 3, 7}, 3}, {OID{1, 3}, 1}, {OID{1, 3, 6, 9}, 2}};
    EXPECT_EQ(ordered.upper_bound(OID{1, 3, 6, 9})->second, 3);
}

TEST(Oid, PieceIsComparedWithTheWholeOfTheOther) {
    const OID name{1, 3, 6, 1};
    EXPECT_EQ(name.compare(0, 3, OID{1, 3, 6}), 0);
    EXPECT_EQ(name.compare(1, 2, OID{3, 6}), 0);
    EXPECT_EQ(name.compare(0, 5, OID{1, 3, 6, 1, 0}), -1);
    EXPECT_EQ(name.compare(2, SIZE_MAX, OID{6, 1}), 0);
    EXPECT_EQ(name.compare(9, 3, OID{}), 0);
    EXPECT_EQ(name.compare(9, 3, OID{1}), -1);
    for (const OID& prefix : {OID{}, OID{1, 3}, name}) EXPECT_TRUE(name.hasPrefix(prefix));
    for (const OID& other : {OID{1, 3, 61}, OID{1, 3, 6, 1, 0}}) EXPECT_FALSE(name.hasPrefix(other));
}

using Pop = bool (*)(OID& oid, OID* out);

TEST(Oid, IndexElementsAreTakenFromTheFrontOrNotAtAll) {
    const Pop anOid = [](OID& o, OID* out) { return o.popOID(out); };
    const Pop threeIds = [](OID& o, OID* out) { return o.popOID(3, out); };
    const Pop aString = [](OID& o, OID* out) { return o.popString(out); };
    const Pop threeChars = [](OID& o, OID* out) { return o.popString(3, out); };
    const Pop ip = [](OID& o, OID* out) { return o.popIP(out); };
    const Pop ip6 = [](OID& o, OID* out) { return o.popIP6(out); };
    const Pop number = [](OID& o, OID* out) { return o.popUnsigned(out); };
    const std::tuple<const char*, Pop, OID, OID, OID> cases[] = {
        // what is taken, {} for a refusal
        {"three", threeIds, {1, 2, 3, 4}, {1, 2, 3}, {4}},
        {"counted", anOid, {2, 300, 9, 7}, {2, 300, 9}, {7}},
        {"string", aString, {3, 97, 98, 99, 7}, {3, 97, 98, 99}, {7}},
        {"fixed string runs short", threeChars, {97}, {97}, {}},
        {"address runs short", ip, {10, 0}, {10, 0}, {}},
        {"IPv6 address runs short", ip6, {32, 1}, {32, 1}, {}},
        {"three of two", threeIds, {1, 2}, {}, {1, 2}},
        {"count as long as the OID", anOid, {2, 9}, {}, {2, 9}},
        {"count that would wrap", anOid, {4294967295, 1}, {}, {4294967295, 1}},
        {"counted in nothing", anOid, {}, {}, {}},
        {"string cut short", aString, {3, 97, 98}, {}, {3, 97, 98}},
        {"string with a wide character", aString, {2, 97, 256, 7}, {}, {2, 97, 256, 7}},
        {"fixed string with a wide character", threeChars, {97, 256}, {}, {97, 256}},
        {"number of nothing", number, {}, {}, {}},
    };
    for (const auto& [what, pop, whole, taken, rest] : cases) {
        OID from = whole, out{77};
        EXPECT_EQ(pop(from, &out), !taken.empty()) << what;
        EXPECT_EQ(std::pair(out, from), std::pair(taken.empty() ? OID{77} : taken, rest)) << what;
    }
}

TEST(Oid, StringsNumbersAndOidsLeaveTheResultWhenTheyAreNone) {
    std::string text = "old";
    unsigned number = 77;
    OID out{77};
    for (const OID& bad : {OID{}, OID{3, 97, 98}, OID{1, 256}}) EXPECT_FALSE(bad.asString(&text)) << bad;
    EXPECT_FALSE((OID{97, 256}).asString(2, &text));
    for (const OID& bad : {OID{}, OID{1, 2}}) EXPECT_FALSE(bad.asUnsigned(&number)) << bad;
    EXPECT_FALSE((OID{1, 3}).asOID(3, &out));
    EXPECT_TRUE(OID{}.asOID(&out));  // a counted one is all that follows, and never fails
    EXPECT_TRUE((OID{2, 1}).asOID(&out));
    EXPECT_EQ(std::tuple(text, number, out), std::tuple("old", 77U, OID{77}));

    EXPECT_TRUE((OID{3, 97, 98, 99, 500}).asString(&text) && text == "abc");
    EXPECT_TRUE((OID{255, 0}).asString(2, &text) && text == std::string("\xFF\0", 2));
    EXPECT_FALSE((OID{97}).asString(2, &text));
    EXPECT_EQ(text, "a") << "a short one is handed out for padding";
    EXPECT_TRUE(OID{5}.asUnsigned(&number) && number == 5);
    EXPECT_TRUE((OID{1, 3, 6}).asOID(&out) && out == (OID{3, 6}));
    EXPECT_TRUE((OID{1, 3}).asOID(2, &out) && out == (OID{1, 3}));
}

}  // namespace
}  // namespace snmp
