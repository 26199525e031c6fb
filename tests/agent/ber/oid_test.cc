#include "agent/ber/oid.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <sstream>

namespace snmp {
namespace {

TEST(Oid, TextIsParsedWithoutErrors) {
    const std::pair<const char*, OID> cases[] = {
        {"", {}},         {"1.3.6.1.2.1", {1, 3, 6, 1, 2, 1}},
        {".1.3", {1, 3}}, {"1.3.", {1, 3}},
        {"1..3", {1, 3}}, {"1...3", {1, 0, 3}},
        {".", {0}},       {"1..", {1, 0}},
        {"1a2", {1, 2}},  {"abc", {0, 0, 0}},
        {"-1", {0, 1}},   {"4294967295.4294967296.4294967303", {4294967295, 0, 7}},
    };
    for (const auto& [text, oid] : cases) EXPECT_EQ(OID(std::string(text)), oid) << text;
}

TEST(Oid, BothPrintedFormsParseBack) {
    std::mt19937 random(1);
    for (int i = 0; i < 1000; ++i) {
        OID oid;
        for (size_t n = random() % 20; n > 0; --n) oid += static_cast<unsigned>(random() >> random() % 32);
        std::ostringstream stream;
        stream << oid;
        EXPECT_EQ(OID(oid.str()), oid);
        EXPECT_EQ(OID(stream.str()), oid);
        EXPECT_EQ(oid.str(), oid.empty() ? "" : "." + stream.str());
    }
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
}

TEST(Oid, PrefixIsWholeSubIdentifiers) {
    const OID name{1, 3, 61};
    EXPECT_TRUE(name.startsWith({}));
    EXPECT_TRUE(name.startsWith({1, 3}));
    EXPECT_TRUE(name.startsWith(name));
    EXPECT_FALSE(name.startsWith({1, 3, 6}));
    EXPECT_FALSE(name.startsWith({1, 3, 61, 0}));
}

TEST(Oid, Joining) {
    static constexpr unsigned int kTable[] = {1, 3, 6};
    const OID base(kTable, kTable + 3);
    EXPECT_EQ(OID(std::span(kTable)), base);
    EXPECT_EQ(OID(7), OID{7});
    EXPECT_EQ(base + 1, (OID{1, 3, 6, 1}));
    EXPECT_EQ((base + OID{} + OID{4, 5}), (OID{1, 3, 6, 4, 5}));
    OID twice = base;
    twice += twice;
    EXPECT_EQ(twice, (OID{1, 3, 6, 1, 3, 6}));
}

using Pop = bool (*)(OID& oid, OID* out);

TEST(Oid, IndexElementsAreTakenFromTheFrontOrNotAtAll) {
    struct Case {
        const char* what;
        Pop pop;
        OID from;
        bool taken;
        OID out, rest;
    };
    const Pop anOid = [](OID& o, OID* out) { return o.popOID(out); };
    const Pop threeIds = [](OID& o, OID* out) { return o.popOID(3, out); };
    const Pop aString = [](OID& o, OID* out) { return o.popString(out); };
    const Pop threeChars = [](OID& o, OID* out) { return o.popString(3, out); };
    const Pop ip = [](OID& o, OID* out) { return o.popIP(out); };
    const Pop ip6 = [](OID& o, OID* out) { return o.popIP6(out); };
    const Pop number = [](OID& o, OID* out) { return o.popUnsigned(out); };
    const Case cases[] = {
        {"three", threeIds, {1, 2, 3, 4}, true, {1, 2, 3}, {4}},
        {"three of two", threeIds, {1, 2}, false, {}, {}},
        {"counted", anOid, {2, 300, 9, 7}, true, {2, 300, 9}, {7}},
        {"counted none", anOid, {0, 7}, true, {0}, {7}},
        {"count as long as the OID", anOid, {2, 9}, false, {}, {}},
        {"count that would wrap", anOid, {4294967295, 1}, false, {}, {}},
        {"counted in nothing", anOid, {}, false, {}, {}},
        {"string", aString, {3, 97, 98, 99, 7}, true, {3, 97, 98, 99}, {7}},
        {"string cut short", aString, {3, 97, 98}, false, {}, {}},
        {"string with a wide character", aString, {2, 97, 256, 7}, false, {}, {}},
        {"wide number behind the string", aString, {1, 97, 256}, true, {1, 97}, {256}},
        {"fixed string", threeChars, {97, 98, 99, 256}, true, {97, 98, 99}, {256}},
        {"fixed string runs short", threeChars, {97}, true, {97}, {}},
        {"fixed string with a wide character", threeChars, {97, 256}, false, {}, {}},
        {"address", ip, {10, 0, 0, 1, 5}, true, {10, 0, 0, 1}, {5}},
        {"address runs short", ip, {10, 0}, true, {10, 0}, {}},
        {"IPv6 address runs short", ip6, {32, 1}, true, {32, 1}, {}},
        {"number", number, {4294967295, 2}, true, {4294967295}, {2}},
        {"number of nothing", number, {}, false, {}, {}},
    };
    for (const Case& c : cases) {
        OID from = c.from;
        OID out{77};
        EXPECT_EQ(c.pop(from, &out), c.taken) << c.what;
        EXPECT_EQ(out, c.taken ? c.out : OID{77}) << c.what;
        EXPECT_EQ(from, c.taken ? c.rest : c.from) << c.what;
    }
}

TEST(Oid, AddressesFillFromTheHighEndAndSayWhetherTheyAreWhole) {
    const std::tuple<OID, bool, unsigned> cases[] = {
        {{1, 2, 3, 4}, true, 0x01020304},     {{255, 255, 255, 255, 9}, true, 0xFFFFFFFF},
        {{1, 2}, false, 0x01020000},          {{}, false, 0},
        {{10, 256, 0, 1}, false, 0x0A000000},
    };
    for (const auto& [oid, whole, value] : cases) {
        unsigned address = 77;
        EXPECT_EQ(oid.asIP(&address), whole) << oid;
        EXPECT_EQ(address, value) << oid;
    }
    OID sixteen;
    for (unsigned i = 1; i <= 17; ++i) sixteen += i;
    tn::IPAddr6 address;
    EXPECT_TRUE(sixteen.asIP6(&address));
    EXPECT_EQ(address.octets()[15], 16);
    EXPECT_FALSE((OID{32, 1, 256}).asIP6(&address));
    EXPECT_EQ(address.octets(), (std::array<uint8_t, 16>{32, 1}));
}

TEST(Oid, StringsAndNumbersLeaveTheResultWhenTheyAreNone) {
    std::string text = "old";
    unsigned number = 77;
    EXPECT_FALSE(OID{}.asString(&text));
    EXPECT_FALSE((OID{3, 97, 98}).asString(&text));
    EXPECT_FALSE((OID{1, 256}).asString(&text));
    EXPECT_FALSE((OID{97, 256}).asString(2, &text));
    EXPECT_FALSE((OID{1, 2}).asUnsigned(&number));
    EXPECT_FALSE(OID{}.asUnsigned(&number));
    EXPECT_EQ(text, "old");
    EXPECT_EQ(number, 77U);

    EXPECT_TRUE((OID{3, 97, 98, 99, 500}).asString(&text));
    EXPECT_EQ(text, "abc");
    EXPECT_TRUE((OID{255, 0}).asString(2, &text));
    EXPECT_EQ(text, std::string("\xFF\0", 2));
    EXPECT_TRUE(OID{5}.asUnsigned(&number));
    EXPECT_EQ(number, 5U);
    EXPECT_FALSE((OID{97}).asString(2, &text));
    EXPECT_EQ(text, "a") << "a short one is handed out for padding";
}

TEST(Oid, CountedOidIsAllThatFollowsAndNeverFails) {
    OID out{77};
    EXPECT_TRUE(OID{}.asOID(&out));
    EXPECT_TRUE((OID{2, 1}).asOID(&out));
    EXPECT_FALSE((OID{1, 3}).asOID(3, &out));
    EXPECT_EQ(out, OID{77});
    EXPECT_TRUE((OID{1, 3, 6}).asOID(&out));
    EXPECT_EQ(out, (OID{3, 6}));
    EXPECT_TRUE((OID{1, 3}).asOID(2, &out));
    EXPECT_EQ(out, (OID{1, 3}));
}

}  // namespace
}  // namespace snmp
