#include "agent/core/walks.h"

#include "tests/agent/mib/ports.h"

namespace snmp {
namespace {

using testing::Each;

/// A standard agent. 1.3.4 and 1.3.6 are constants, 1.3.5 is a table with columns 1, 2 and 4, 1.3.7 a Counter64 and
/// 1.3.8 a constant again.
class WalksTest : public PortsTest {
  protected:
    WalksTest() {
        opensCommon();
        agent->setRules(kStandardRules);
        auto* provider = keep<GetAllProvider>(kPath, oneRow<Port::build>, 5U);
        MapTable* table = keepTable(provider, {{kPortColumns[0], tn::field::ObjectId.number}});
        addTable(OID{1, 3, 5}, "portEntry", table, kPortColumns);
        for (const int i : {4, 6, 8}) addScalarConstNumLeaf(OID{1, 3, static_cast<unsigned>(i)}, i, tag::Integer);
        addScalarLeaf(OID{1, 3, 7}, keep<ConstBignumPacker>(7ULL, unsigned{tag::Counter64}), nullptr);
        hasPorts({1, 2, 3});
    }
    static std::vector<std::string> namesOf(const wire::Message& reply) {
        std::vector<std::string> names;
        for (const auto& [name, tag, value] : reply.bindings)
            names.push_back((tag == tag::EndOfMibView ? "end " : "") + name);
        return names;
    }
    static std::tuple<uint32_t, uint32_t> errorOf(const wire::Message& reply) {
        return {reply.errorStatus, reply.errorIndex};
    }
    using AgentTest::errorOf;
};

TEST_F(WalksTest, AGetAnswersEveryNameAndRepeatsItAsSent) {
    const std::pair<const char*, uint8_t> cases[] = {
        {"1.3.4.0", tag::Integer},          {"1.3.4.1", tag::NoSuchInstance},     {"1.3.4", tag::NoSuchInstance},
        {"1.3.9.0", tag::NoSuchObject},     {"0.1", tag::NoSuchObject},           {"1.3.5", tag::NoSuchObject},
        {"1.3.5.0.1", tag::NoSuchObject},   {"1.3.5.3.1", tag::NoSuchObject},     {"1.3.5.1", tag::NoSuchInstance},
        {"1.3.5.1.9", tag::NoSuchInstance}, {"1.3.5.2.1", tag::OctetString},      {"1.3.5.9", tag::NoSuchObject},
        {"1.3.7.0", tag::Counter64},        {"1.3.5.4.1.1", tag::NoSuchInstance},
    };
    std::vector<std::string> names;
    for (const auto& [name, tag] : cases) names.emplace_back(name);
    const wire::Message reply = get(names);
    EXPECT_EQ(errorOf(reply), std::tuple(0U, 0U));
    ASSERT_EQ(reply.bindings.size(), names.size());
    for (size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(reply.bindings[i].name, names[i]);
        EXPECT_EQ(reply.bindings[i].tag, cases[i].second) << names[i];
        const bool isThereInV1 = cases[i].second == tag::Integer || cases[i].second == tag::OctetString;
        const wire::Message v1 = get({"1.3.4.0", "1.3.5.1.1", names[i], "1.3.9.1"}, kVersion1);
        EXPECT_EQ(errorOf(v1), std::tuple(2U, isThereInV1 ? 4U : 3U)) << names[i];
        EXPECT_THAT(v1.bindings, ElementsAre(null("1.3.4.0"), null("1.3.5.1.1"), null(names[i]), null("1.3.9.1")));
    }
}

TEST_F(WalksTest, GetBulkAnswersRepetitionByRepetitionAndFetchesByColumn) {
    ports.fetches = 0;
    EXPECT_THAT(namesOf(bulk({"1.3.4", "1.3.5.1", "1.3.5.4.1", "1.3.5.2"}, 1, 3)),
                ElementsAre("1.3.4.0", "1.3.5.1.1", "1.3.5.4.2", "1.3.5.2.1", "1.3.5.1.2", "1.3.5.4.3", "1.3.5.2.2",
                            "1.3.5.1.3", "1.3.6.0", "1.3.5.2.3"));
    EXPECT_LE(ports.fetches, 2U);  // those after row 1, and those from the first row on
    // The last name stands for what follows it. A repetition without any object ends the reply.
    EXPECT_THAT(namesOf(bulk({"1.3.7", "1.4", "1.3.8.0"}, 0, 100)),
                ElementsAre("1.3.7.0", "end 1.4", "end 1.3.8.0", "1.3.8.0", "end 1.4", "end 1.3.8.0", "end 1.3.8.0",
                            "end 1.4", "end 1.3.8.0"));
    EXPECT_THAT(next({"1.3.8", "1.3.8.0.7"}).bindings, ElementsAre(number("1.3.8.0", 8), endOfView("1.3.8.0.7")));
    for (const uint32_t nothing : {0U, 0xffffffffU}) EXPECT_THAT(bulk({"1.3.4"}, nothing, nothing).bindings, IsEmpty());
    EXPECT_FALSE(ask({.version = kVersion1, .pdu = pdu::GetBulkRequest, .errorIndex = 5, .bindings = {null("1.3.4")}}));
}

TEST_F(WalksTest, EveryWayOfWalkingFindsTheObjectsThatTheVersionHas) {
    agent->setRules(kFixedRules);
    auto expected = walk("1.3");
    agent->setRules(kStandardRules);
    ASSERT_THAT(expected, SizeIs(3 * 3 + 4));
    for (const uint32_t repetitions : {0U, 1U, 2U, 7U, 60U}) EXPECT_EQ(walk("1.3", repetitions), expected);
    std::erase_if(expected, [](const wire::Binding& b) { return b.tag == tag::Counter64; });
    EXPECT_EQ(walk("1.3", 0, kVersion1), expected);
    const wire::Message end = next({"1.3.4", "1.3.8.0", "1.3.6"}, kVersion1);
    EXPECT_EQ(errorOf(end), std::tuple(2U, 2U));
    EXPECT_THAT(end.bindings, ElementsAre(null("1.3.4"), null("1.3.8.0"), null("1.3.6")));
}

TEST_F(WalksTest, AWalkContinuesAfterAColumnOrRowThatIsNotThere) {
    EXPECT_THAT(namesOf(next({"1.3.5.9.1", "1.3.5.3.7", "1.3.5.4.7"})), ElementsAre("1.3.6.0", "1.3.5.4.1", "1.3.6.0"));
    ports.lies = [this](const tn::message& request) {  // this owner knows no position that isn't a row
        tn::message all;
        for (const auto& [id, row] : ports.rows) all.get_message_array_ref(tn::field::Objects).push_back(row);
        return request.has(tn::field::Continue) ? tn::errorMsg(tn::error::NotFound, "no such row") : all;
    };
    ports.loses(2);
    EXPECT_THAT(namesOf(bulk({"1.3.5.1.2"}, 0, 2)), ElementsAre("1.3.5.1.3", "1.3.5.2.1"));
}

TEST_F(WalksTest, AGetBulkReplyIsCutAtAWholeVarbindAndAGetNextReplyIsNot) {
    addScalarConstStringLeaf(OID{1, 3, 9}, std::string(30000, 'x'), tag::OctetString);
    addScalarConstStringLeaf(OID{1, 3, 10}, std::string(70000, 'x'), tag::OctetString);
    EXPECT_THAT(namesOf(bulk({"1.3.8", "1.3.8.0", "1.3.8.0"}, 0, 9)), ElementsAre("1.3.8.0", "1.3.9.0", "1.3.9.0"));
    EXPECT_EQ(errorOf(bulk({"1.3.9.0"}, 0, 2)), std::tuple(1U, 0U)) << "not even one varbind";
    const wire::Message whole = next({"1.3.8.0", "1.3.8.0", "1.3.8.0"});
    EXPECT_EQ(std::tuple(whole.errorStatus, whole.bindings.size()), std::tuple(1U, 0U));
    EXPECT_THAT(next({"1.3.8.0", "1.3.8.0", "1.3.8.0"}, kVersion1).bindings, Each(null("1.3.8.0")));

    for (uint32_t id = 1; id <= 3000; ++id) ports.row(id);
    ports.fetches = 0;
    for (const auto& [names, least] : {std::pair(1U, 2000U), std::pair(3U, 2000U), std::pair(40U, 2000U)}) {
        const wire::Message reply = bulk(std::vector<std::string>(names, "1.3.5.1"), 0, 2147483647);
        EXPECT_EQ(reply.bindings.size(), least);
        EXPECT_EQ(reply.bindings.back().name, "1.3.5.1." + std::to_string((least + names - 1) / names));
    }
    EXPECT_LE(ports.fetches, 9U);
    EXPECT_EQ(bulk(std::vector<std::string>(3000, "1.3.5.1"), 3000, 1).bindings.size(), 2000U);
    EXPECT_EQ(next(std::vector<std::string>(3000, "1.3.5.1")).bindings.size(), 3000U);
}

/// Answers with what isn't after the name, or with an error.
class Backward : public Branch {
  public:
    Answer get(Context&) override { return kNotMine; }
    Answer getNext(Context& c) override {
        c.branchStatus = status;
        if (status != ErrorStatus::NoError) return kNotMine;
        for (uint32_t i = 0; i < c.maxRepetitions; ++i) c.out.addVarBind({OID{1, 3, 1}, tag::Integer, "1"});
        return kAnswered;
    }
    Answer set(Context&) override { return kNotMine; }
    ErrorStatus status = ErrorStatus::NoError;
};

TEST_F(WalksTest, ABranchThatGoesBackOrFailsEndsTheWalk) {
    Backward branch;
    addBranch(OID{1, 3, 9}) = &branch;
    EXPECT_THAT(namesOf(bulk({"1.3.8", "1.3.4"}, 0, 2)), ElementsAre("1.3.8.0", "1.3.4.0", "end 1.3.8.0", "1.3.5.1.1"));
    branch.status = ErrorStatus::GenErr;
    const wire::Message reply = bulk({"1.3.4", "1.3.9"}, 0, 1);
    EXPECT_EQ(errorOf(reply), std::tuple(5U, 2U));
    EXPECT_THAT(reply.bindings, ElementsAre(null("1.3.4"), null("1.3.9")));
}

/// A table without an end, of a type that v1 doesn't have. Each call takes 0.1 s.
class Endless : public Branch {
  public:
    explicit Endless(TestSources& clock) : clock_(clock) {}
    Answer get(Context&) override { return kNotMine; }
    Answer getNext(Context& c) override {
        ++calls;
        clock_.nanoseconds += 100'000'000;
        for (uint32_t i = 0; i < std::max(c.maxRepetitions, 1U); ++i) {
            c.out.startSeq(tag::Sequence);
            c.out.addOID(c.branchPrefix + ++last_, tag::ObjectIdentifier);
            c.out.add(1ULL, tag::Counter64);
            c.out.endSeq();
        }
        return kAnswered;
    }
    Answer set(Context&) override { return kNotMine; }
    int calls = 0;

  private:
    TestSources& clock_;
    unsigned last_ = 0;
};

TEST_F(WalksTest, ASearchForAVisibleObjectEndsAfterHalfASecond) {
    Endless branch(sources);
    addBranch(OID{1, 3, 9}) = &branch;
    EXPECT_EQ(errorOf(next({"1.3.4", "1.3.9"}, kVersion1)), std::tuple(5U, 2U));
    EXPECT_EQ(branch.calls, 5);
    EXPECT_THAT(namesOf(next(std::vector<std::string>(9, "1.3.9"))), SizeIs(9)) << "slow, but nothing is searched";
}

TEST_F(WalksTest, WithoutAccessTheRequestComesBack) {
    EXPECT_EQ(errorOf(set({number("1.3.4.0", 5), number("1.3.6.0", 5)})), std::tuple(6U, 1U));
    changeEntry("common", {{6, false}});
    for (const auto& [version, status] : {std::pair(kVersion2c, 16U), std::pair(kVersion1, 2U)}) {
        EXPECT_EQ(errorOf(get({"1.3.4.0"}, version)), std::tuple(status, 1U));
        EXPECT_EQ(errorOf(next({"1.3.4.0"}, version)), std::tuple(status, 1U));
    }
}

TEST_F(WalksTest, WhatIsOutsideTheViewIsNotThere) {
    namespace community = contracts::snmp::community;
    const auto subtree = [](std::vector<uint32_t> root, bool isExcluded) {
        tn::message element;
        element.insert_u32_array(community::Subtree, std::move(root));
        element.insert_bool(community::Excluded, isExcluded);
        return element;
    };
    changeEntry("common", {{community::WriteAccess, true},
                           {community::Views, Messages{subtree({1, 3, 5}, false), subtree({1, 3, 5, 1, 2}, true),
                                                       subtree({1, 3, 5, 2}, true), subtree({1, 3, 5, 2, 3}, false),
                                                       subtree({1, 3, 8}, false)}}});
    const std::vector<std::string> visible{"1.3.5.1.1", "1.3.5.1.3", "1.3.5.2.3", "1.3.5.4.1",
                                           "1.3.5.4.2", "1.3.5.4.3", "1.3.8.0"};
    for (const Rules* rules : {&kFixedRules, &kStandardRules}) {
        agent->setRules(*rules);
        const bool isStandard = rules == &kStandardRules;
        for (const uint32_t repetitions : {0U, 1U, 4U, 50U})
            for (const uint32_t version : {kVersion1, kVersion2c}) {
                if (version == kVersion1 && repetitions > 0) continue;
                std::vector<std::string> seen;
                for (const wire::Binding& binding : walk("1.3", repetitions, version)) seen.push_back(binding.name);
                EXPECT_EQ(seen, visible) << isStandard << " repetitions " << repetitions << " version " << version;
            }
        EXPECT_THAT(next({"1.3.8.0"}).bindings, ElementsAre(endOfView("1.3.8.0")));
        EXPECT_EQ(errorOf(next({"1.3.5.1", "1.3.8.0"}, kVersion1)), std::tuple(2U, 2U));

        const wire::Message got = get({"1.3.5.1.1", "1.3.5.1.2", "1.3.5.1.3"});
        EXPECT_EQ(errorOf(got), isStandard ? std::tuple(0U, 0U) : std::tuple(2U, 2U));
        EXPECT_EQ(got.bindings.at(1).tag, isStandard ? tag::NoSuchObject : tag::Null);
        EXPECT_EQ(errorOf(get({"1.3.5.1.1", "1.3.4.0"}, kVersion1)), std::tuple(2U, 2U));
        EXPECT_EQ(errorOf(set({text("1.3.5.2.1", "x")})), isStandard ? std::tuple(6U, 1U) : std::tuple(2U, 1U));
    }
    EXPECT_THAT(namesOf(bulk({"1.3.5.4", "1.3"}, 0, 2)),
                ElementsAre("1.3.5.4.1", "1.3.5.1.1", "1.3.5.4.2", "1.3.5.1.3"));
    agent->setRules(kFixedRules);
    EXPECT_THAT(namesOf(bulk({"1.3", "1.3.5.4", "1.3.5.4.3"}, 1, 2)),
                ElementsAre("1.3.5.1.1", "1.3.5.4.1", "1.3.5.4.2", "1.3.8.0", "end 1.3.8.0"));

    changeEntry("common", {{community::Views, Messages{subtree({1, 3}, false), subtree({1, 3, 5}, true)}}});
    ports.fetches = 0;
    EXPECT_THAT(next({"1.3.5.1", "1.3.5.2.1"}).bindings, ElementsAre(number("1.3.6.0", 6), number("1.3.6.0", 6)));
    EXPECT_EQ(ports.fetches, 0U);
    EXPECT_THAT(namesOf(bulk({"1.3.4"}, 0, 3)), ElementsAre("1.3.4.0", "1.3.6.0", "1.3.7.0"));
    EXPECT_LE(ports.fetches, 1U);
}

}  // namespace
}  // namespace snmp
