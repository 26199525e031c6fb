#include "agent/core/operations.h"

#include <chrono>

#include "agent/log.h"
#include "agent/mib/packer.h"
#include "agent/mib/providers/data_provider.h"
#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

struct Sample : Data {
    unsigned int value = 0;
};

/// A record that may be missing.
class SampleProvider : public DataProvider {
  public:
    std::unique_ptr<Data> get() override { return present ? std::make_unique<Sample>() : nullptr; }
    bool set(Data*) override { return false; }
    bool present = true;
};

/// 1.3.1 and 1.3.3 are constants, 1.3.2 and 1.3.4 are there while `present`.
class OperationsTest : public AgentTest {
  protected:
    OperationsTest() {
        opensCommon(true);
        addScalarConstNumLeaf(OID{1, 3, 1}, 1, tag::Integer);
        addScalarConstNumLeaf(OID{1, 3, 3}, 3, tag::Integer);
        for (const unsigned i : {2U, 4U}) addSample(i, samples[i]);
    }
    static void addSample(unsigned i, SampleProvider& provider) {
        static const DataNumPacker packer(static_cast<unsigned int Data::*>(&Sample::value), unsigned{tag::Integer});
        addScalarLeaf(OID{1, 3, i}, &packer, &provider);
    }

    SampleProvider samples[6];
};

TEST_F(OperationsTest, GetWantsExactlyTheInstance) {
    EXPECT_EQ(get({"1.3.2.0"}).errorStatus, 0U);
    EXPECT_EQ(get({"1.3.2.0"}, 2).version, 2U) << "answered under the number that no version has";
    for (const char* name : {"0.0", "1.3", "1.3.2", "1.3.2.1", "1.3.2.0.0", "1.3.9.0", "2.0"})
        EXPECT_EQ(get({name}).errorStatus, 2U) << name;
    samples[2].present = false;
    EXPECT_EQ(get({"1.3.2.0"}).errorStatus, 2U);
}

TEST_F(OperationsTest, GetNextFindsTheFirstObjectBehindTheName) {
    const std::pair<const char*, const char*> steps[] = {
        {"0.0", "1.3.1.0"},     {"1.3", "1.3.1.0"},       {"1.3.1", "1.3.1.0"},
        {"1.3.1.0", "1.3.2.0"}, {"1.3.1.0.7", "1.3.2.0"}, {"1.3.2.4294967295", "1.3.3.0"},
    };
    for (const uint32_t version : {kVersion1, kVersion2c}) {
        for (const auto& [name, expected] : steps) {
            const wire::Message reply = next({name}, version);
            ASSERT_EQ(reply.bindings.size(), 1U);
            EXPECT_EQ(reply.bindings[0].name, expected) << "after " << name;
        }
        EXPECT_EQ(next({"1.3.4.0"}, version).errorStatus, 2U);
        EXPECT_EQ(next({"2.5"}, version).errorStatus, 2U);
    }
}

TEST_F(OperationsTest, AMissingLastObjectGivesItsNameToWhatIsOwed) {
    samples[4].present = false;
    EXPECT_THAT(bulk({"1.3.3"}, 0, 2).bindings, ElementsAre(number("1.3.3.0", 3), endOfView("1.3.4")));
    EXPECT_THAT(next({"1.3.3.0"}).bindings, ElementsAre(endOfView("1.3.4")));
}

TEST_F(OperationsTest, GetBulkGivesAsManyAsAskedInOrderWhateverIsMissing) {
    const unsigned asked[] = {1, 2, 4};
    serr.mute(true);
    for (unsigned i = 1; i <= 5; ++i) addSample(i, samples[i]);
    for (unsigned present = 0; present < 64; present += 2) {
        for (unsigned i = 1; i <= 5; ++i) samples[i].present = (present >> i & 1) != 0;
        for (unsigned cell = 0; cell < 5 * 4 * 2; ++cell) {
            const unsigned nonRepeaters = cell % 5, repetitions = cell / 5 % 4;
            const uint32_t version = cell / 20 == 0 ? kVersion1 : kVersion2c;
            if (nonRepeaters + repetitions == 0) continue;
            std::string expected, given;
            unsigned failed = 0;  // the name behind which there is nothing: v1 has no other answer
            for (unsigned n = 0; n < 3 && failed == 0; ++n) {
                const unsigned all = n < nonRepeaters ? 1 : repetitions;
                unsigned owed = all;
                for (unsigned i = asked[n]; i <= 5 && owed > 0; ++i)
                    if (samples[i].present) expected += "1.3." + std::to_string(i) + ".0 ", --owed;
                if (all > 0 && owed == all && version == kVersion1) failed = n + 1;
                for (; owed > 0 && failed == 0; --owed) expected += "end ";
            }
            const wire::Message reply = bulk({"1.3.1", "1.3.2", "1.3.4"}, nonRepeaters, repetitions, version);
            for (const auto& [name, tag, value] : reply.bindings)
                if (tag != tag::Null) given += (tag == tag::EndOfMibView ? "end" : name) + " ";
            ASSERT_EQ(std::pair(given, reply.errorIndex), std::pair(expected, failed))
                << "v" << version + 1 << " " << nonRepeaters << "/" << repetitions << " with " << present;
        }
    }
    serr.mute(false);
}

/// Records the names of all varbinds of a Get that are under its prefix, and how the names of Sets were split.
class Recorder : public Branch {
  public:
    Answer get(Context& c) override {
        for (const RequestItem& item : c.peek(c.branchPrefix)) names.push_back(item.name.str());
        return kAnswered;
    }
    Answer getNext(Context& c) override { return get(c); }
    Answer set(Context& c) override {
        splits.emplace_back(c.setPrefix.str(), c.setSuffix.str());
        return kAnswered;
    }
    std::vector<std::string> names;
    std::vector<std::pair<std::string, std::string>> splits;
};

TEST_F(OperationsTest, SetIsServedByTheLongestPrefixAndSplitsEachNameAfresh) {
    Recorder outer, inner;
    addBranch(OID{1, 3, 9}) = &outer;
    addBranch(OID{1, 3, 9, 1, 1}) = &inner;
    const wire::Message reply =
        set({number("1.3.9.1.1.5.0", 1), number("1.3.9.1.2", 1), number("1.3.9", 1), number("1.3.9.1.1", 1)});
    EXPECT_EQ(reply.errorStatus, 0U);
    EXPECT_THAT(inner.splits, ElementsAre(std::pair(".1.3.9.1.1", ".5.0"), std::pair(".1.3.9.1.1", "")));
    EXPECT_THAT(outer.splits, ElementsAre(std::pair(".1.3.9", ".1.2"), std::pair(".1.3.9", "")));
    EXPECT_EQ(set({number("1.2.3", 1)}).errorStatus, 2U);
    inner.splits.clear();
    const auto leastTime = [](size_t subIdentifiers) {
        OID name{1, 3, 9, 1, 1};
        name.resize(subIdentifiers, 7);
        const wire::Bytes request =
            wire::encode({.pdu = pdu::SetRequest, .bindings = {number(name.str().substr(1), 1)}});
        auto least = std::chrono::steady_clock::duration::max();
        for (int i = 0; i < 10; ++i) {
            Context context(request);
            const auto begin = std::chrono::steady_clock::now();
            EXPECT_TRUE(createReply(context, IPAddr6::ofIPv4(0x7f000001)));
            least = std::min(least, std::chrono::steady_clock::now() - begin);
        }
        return least;
    };
    const auto ofShort = leastTime(6000);
    EXPECT_LT(leastTime(60'000), 40 * ofShort) << "ten times as long a name";
    EXPECT_EQ(inner.splits.back().second.size(), 2U * (60'000 - 5));
    EXPECT_EQ(set({number("1.3.1.0", 1)}).errorStatus, 2U);  // a constant
}

TEST_F(OperationsTest, PeekTakesNeighboursUnderTheWholePrefixWithinTheNonRepeaters) {
    Recorder table;
    addBranch(OID{1, 3, 9}) = &table;
    (void)get({"1.3.9.1", "1.3.9.2.7", "1.3.9", "1.3.1.0", "1.3.9.4", "1.3"});  // the last is shorter than the prefix
    EXPECT_THAT(table.names, ElementsAre(".1", ".2.7", "", ".4"));
    table.names.clear();
    (void)bulk({"1.3.9.1", "1.3.9.2", "1.3.9.3"}, 2, 0);
    EXPECT_THAT(table.names, ElementsAre(".1", ".2"));
}

TEST_F(OperationsTest, LongNamesAreReadInEveryPassAndTheirMemoryIsGivenBack) {
    Recorder table, other;
    addBranch(OID{1, 3, 8}) = &other;
    addBranch(OID{1, 3, 9}) = &table;
    std::string tail;
    while (tail.size() < 2000) tail += ".1";
    // Each of these is read by the group before it, then served, then repeated in the error.
    std::vector<std::string> names;
    for (unsigned i = 0; i < 50; ++i) names.push_back((i % 2 == 0 ? "1.3.8" : "1.3.9") + tail);
    names.push_back("1.3.7" + tail);
    EXPECT_EQ(get(names, kVersion1).errorIndex, 51U);

    while (tail.size() < 100000) tail += tail;
    Context c(wire::encode({.pdu = pdu::GetRequest, .bindings = {null("1.3.9" + tail)}}));
    EXPECT_TRUE(createReply(c, IPAddr6::ofIPv4(0x7f000001)));
    EXPECT_GT(c.requestedName.capacity(), 50000U);
    c.rules = &kStandardRules;
    c.community.assign(50000, 'x');
    EXPECT_TRUE(c.end());
    EXPECT_EQ(c.requestedName.capacity(), 0U);
    EXPECT_LT(c.community.capacity(), 100U);
    EXPECT_FALSE(c.end()) << "there is nothing large any more";
    EXPECT_EQ(c.rules, &kStandardRules) << "they aren't the request's";
}

}  // namespace
}  // namespace snmp
