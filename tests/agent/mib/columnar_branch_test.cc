#include "agent/mib/columnar_branch.h"

#include "tests/agent/mib/ports.h"

namespace snmp {
namespace {

using testing::AllOf;

/// Ports by id at 1.3.5 with columns 1, 2 and 4; then the constant 1.3.6.
class ColumnarTest : public PortsTest {
  protected:
    ColumnarTest() {
        opensCommon(true);
        auto* provider = keep<GetAllProvider>(kPath, oneRow<Port::build>, 5U);
        MapTable* table = keepTable(provider, {{kPortColumns[0], tn::field::ObjectId.number}});
        addTable(OID{1, 3, 5}, "portEntry", table, kPortColumns);
        addScalarConstNumLeaf(OID{1, 3, 6}, 6, tag::Integer);
    }
};

TEST_F(ColumnarTest, EveryWayOfWalkingGivesTheSame) {
    hasPorts({1, 2, 3, 7, 100, 65536, 4294967294});
    const auto expected = walk("1.3");
    ASSERT_THAT(expected, SizeIs(3 * 7 + 1));
    EXPECT_EQ(expected[1], number("1.3.5.1.2", 2));
    EXPECT_EQ(expected[7], text("1.3.5.2.1", "p1"));
    EXPECT_EQ(expected.back(), number("1.3.6.0", 6));
    EXPECT_EQ(walk("1.3", 0, kVersion1), expected);
    for (const size_t page : {1U, 2U, 3U, 1000U}) {
        ports.pageSize = page + 1;
        for (uint32_t repetitions = 1; repetitions <= 50; ++repetitions) EXPECT_EQ(walk("1.3", repetitions), expected);
    }
}

TEST_F(ColumnarTest, OneFetchServesAllRepetitionsOfAColumn) {
    for (uint32_t id = 1; id <= 100; ++id) hasPorts({id});
    ports.fetches = 0;
    EXPECT_THAT(bulk({"1.3.5.1.10", "1.3.5.2.10", "1.3.5.4.10"}, 0, 20).bindings, SizeIs(60));
    EXPECT_EQ(ports.fetches, 1U);
    EXPECT_EQ(ports.requests.back().get_u32(tn::field::MaxObjects), 21U);
    ports.fetches = 0;
    EXPECT_EQ(values({"1.3.5.2.10", "1.3.5.4.10", "1.3.6.0", "1.3.5.1.10"}), "p10 100 6 10");
    EXPECT_EQ(ports.fetches, 1U);
    EXPECT_EQ(ports.requests.back().get_u32(tn::field::Continue), 10U);
    // More rows than were fetched for the first name; fewer ones.
    EXPECT_THAT(bulk({"1.3.5.4.97", "1.3.5.4.97", "1.3.5.1.97"}, 1, 2).bindings,
                ElementsAre(number("1.3.5.4.98", 980), number("1.3.5.4.98", 980), number("1.3.5.4.99", 990),
                            number("1.3.5.1.98", 98), number("1.3.5.1.99", 99)));
    EXPECT_EQ(ports.fetches, 3U);
}

TEST_F(ColumnarTest, AWrapUsesTheFirstRowsOnceForEveryColumn) {
    hasPorts({1, 2, 3});
    ports.fetches = 0;
    const wire::Message reply = bulk({"1.3.5.1.2"}, 0, 9);
    EXPECT_THAT(reply.bindings, ElementsAre(number("1.3.5.1.3", 3), text("1.3.5.2.1", "p1"), text("1.3.5.2.2", "p2"),
                                            text("1.3.5.2.3", "p3"), number("1.3.5.4.1", 10), number("1.3.5.4.2", 20),
                                            number("1.3.5.4.3", 30), number("1.3.6.0", 6), endOfView("1.3.5.1.2")));
    EXPECT_EQ(ports.fetches, 2U);
    // The wrap of the first name fetched two rows: not the whole table, although no more were wanted then.
    EXPECT_THAT(bulk({"1.3.5.1.1", "1.3.5.2"}, 0, 4).bindings,
                ElementsAre(number("1.3.5.1.2", 2), number("1.3.5.1.3", 3), text("1.3.5.2.1", "p1"),
                            text("1.3.5.2.2", "p2"), text("1.3.5.2.1", "p1"), text("1.3.5.2.2", "p2"),
                            text("1.3.5.2.3", "p3"), number("1.3.5.4.1", 10)));
}

TEST_F(ColumnarTest, GetOfWhatIsNotThere) {
    hasPorts({1, 2});
    const auto missing = [](const std::string& name) { return wire::Binding{name, tag::NoSuchInstance, ""}; };
    testing::internal::CaptureStderr();
    EXPECT_THAT(get({"1.3.5.1.1", "1.3.5", "1.3.5.1", "1.3.5.30.1", "1.3.5.2.9", "1.3.5.1.1.0", "1.3.5.2.2"}).bindings,
                ElementsAre(number("1.3.5.1.1", 1), missing("1.3.5"), missing("1.3.5"), missing("1.3.5.30.1"),
                            missing("1.3.5.2.9"), missing("1.3.5.1.1.0"), text("1.3.5.2.2", "p2")));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), AllOf(HasSubstr("bad oid or column does not exist 1e 0\n"),
                                                              HasSubstr("bad oid or column does not exist 2 0\n")));
    EXPECT_EQ(value("1.3.5.1.4294967295"), "-");

    const wire::Message v1 = get({"1.3.5.1.1", "1.3.5.1.2", "1.3.5.1.9", "1.3.5.2.1"}, kVersion1);
    EXPECT_EQ(std::pair(v1.errorStatus, v1.errorIndex), std::pair(2U, 3U));
    EXPECT_THAT(v1.bindings,
                ElementsAre(number("1.3.5.1.1", 1), number("1.3.5.1.2", 2), null("1.3.5.1.9"), null("1.3.5.2.1")));
}

TEST_F(ColumnarTest, GetNextAnswersAreGreaterWhateverTheIndex) {
    hasPorts({1, 2, 300});
    const std::pair<const char*, std::vector<const char*>> steps[] = {
        {"1.3.5.1.1", {"1.3.5", "1.3.5.0", "1.3.5.0.7", "1.3.5.1.0"}},
        {"1.3.5.1.300", {"1.3.5.1.2", "1.3.5.1.2.5.5", "1.3.5.1.17"}},
        {"1.3.5.2.1", {"1.3.5.1.300", "1.3.5.1.4294967295"}},
        {"1.3.5.4.1", {"1.3.5.3.2"}},  // the next column that is served, from its first row
        {"1.3.6.0", {"1.3.5.4.300"}}};
    for (const auto& [expected, names] : steps)
        for (const char* name : names) EXPECT_EQ(next({name}).bindings.at(0).name, expected) << "after " << name;
    EXPECT_THAT(next({"1.3.5.5"}).bindings, ElementsAre(endOfView("1.3.5.5")));
    EXPECT_EQ(next({"1.3.5.5"}, kVersion1).errorStatus, 2U);
}

TEST_F(ColumnarTest, EachItemOfAGroupGetsItsOwnAnswer) {
    hasPorts({1, 2});
    EXPECT_THAT(bulk({"1.3.5.1", "1.3.5.9", "1.3.5.2.1"}, 0, 2).bindings,
                ElementsAre(number("1.3.5.1.1", 1), number("1.3.5.1.2", 2), endOfView("1.3.5.9"), endOfView("1.3.5.9"),
                            text("1.3.5.2.2", "p2"), number("1.3.5.4.1", 10)));
    const wire::Message v1 = next({"1.3.5.1", "1.3.5.2", "1.3.5.9", "1.3.5.1"}, kVersion1);
    EXPECT_EQ(v1.errorIndex, 3U);
    EXPECT_THAT(v1.bindings,
                ElementsAre(number("1.3.5.1.1", 1), text("1.3.5.2.1", "p1"), null("1.3.5.9"), null("1.3.5.1")));
}

TEST_F(ColumnarTest, AnOwnerThatIsDownCostsItsOwnRows) {
    const auto answers = [this](const tn::message& m) { ports.lies = [m](const tn::message&) { return m; }; };
    answers(tn::errorMsg(tn::error::Unreachable, "no owner"));
    EXPECT_EQ(shown(next({"1.3.5.1", "1.3.6"}).bindings), "6 6");
    answers(tn::errorMsg(tn::error::NotFound, "unknown row"));
    EXPECT_THAT(next({"1.3.5.1.1"}).bindings, ElementsAre(endOfView("1.3.5.1.1")));
    answers(
        messageOf({{tn::field::Objects, Messages{messageOf({{tn::field::Gone, true}, {tn::field::ObjectId, 9U}})}}}));
    EXPECT_EQ(value("1.3.5.1.9"), "-") << "a placeholder is no row";
}

TEST_F(ColumnarTest, NonsenseOfAnOwnerIsBoundedAndNeverAnswered) {
    using Ids = std::vector<uint32_t>;
    const auto items = [](const Ids& ids, uint32_t next) {
        Messages all;
        for (const uint32_t id : ids) all.push_back(messageOf({{tn::field::ObjectId, id}, {tn::field::NextId, next}}));
        return messageOf({{tn::field::Objects, all}, {tn::field::Continue, next}});
    };
    const tn::message noIds = messageOf({{tn::field::Objects, Messages(3)}, {tn::field::Continue, 1U}});
    const tn::message noItems = messageOf({{tn::field::Objects.number, "x"}, {tn::field::Continue, 1U}});
    const std::vector<std::function<tn::message(uint32_t)>> lies = {
        [&](uint32_t) {
            return items({5, 5, 4, 3, 9, 9}, 1);
        },                                                       // repeats, goes back
        [&](uint32_t) { return items({7}, 7); },                 // stands still
        [&](uint32_t) { return items({}, 3); },                  // continues without items
        [&](uint32_t) { return items(Ids(500, 8), 9); },         // more than requested, all one row
        [&](uint32_t from) { return items({from}, from + 1); },  // continues for ever
        [&](uint32_t) { return noIds; },
        [&](uint32_t) { return noItems; },
    };
    for (const auto& lie : lies) {
        ports.lies = [&lie](const tn::message& m) { return lie(m.get_u32(tn::field::Continue)); };
        ports.fetches = 0;
        for (const uint32_t repetitions : {1U, 7U, 50U}) {
            for (std::string last : {"1.3.5", "1.3.5.1.4", "1.3.5.2.8"}) {
                (void)get({last + ".1"});
                for (const wire::Binding& b : bulk({last}, 0, repetitions).bindings) {
                    if (b.tag == tag::EndOfMibView) break;
                    EXPECT_LT(OID(last), OID(b.name));
                    last = b.name;
                }
            }
        }
        EXPECT_LT(ports.fetches, 3000U);
    }
}

TEST_F(ColumnarTest, ASetSendsTheRowBackToItsOwner) {
    hasPorts({1, 2});
    EXPECT_THAT(set({number("1.3.5.4.2", 77)}).bindings, ElementsAre(number("1.3.5.4.2", 77)));
    const tn::message sent = ports.requests.back();
    EXPECT_EQ(sent.get_u32(tn::field::Command), tn::cmd::Set);
    EXPECT_EQ(sent.get_u32(tn::field::ObjectId), 2U);
    EXPECT_EQ(sent.get_u32(kValue), 77U);
    for (const char* name : {"1.3.5", "1.3.5.4", "1.3.5.3.2", "1.3.5.4.9", "1.3.5.4.2.0"})
        EXPECT_EQ(set({number(name, 1)}).errorStatus, 2U) << name;
}

}  // namespace
}  // namespace snmp
