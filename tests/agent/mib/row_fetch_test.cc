#include "agent/mib/providers/row_fetch.h"

#include <gmock/gmock.h>

#include "tests/agent/mib/ports.h"

namespace snmp {
namespace {

using testing::ElementsAre;
using testing::Optional;
using testing::SizeIs;

using Ids = std::vector<uint32_t>;

/// A table keyed by id, and one keyed by content: by the value, with ports that have a name.
class RowFetchTest : public PortsTest {
  protected:
    RowFetchTest() { byValue.addIndex(packerFor(kPortColumns[2]), kValue.number); }

    /// A port without a name only marks the position; one without a value gives no row at all.
    static std::unique_ptr<Data> buildNamed(const tn::message& item, Rows& rows) {
        if (item.has(kName)) return oneRow<Port::build>(item, rows);
        return item.has(kValue) ? Port::build(item) : nullptr;
    }

    static Ids idsOf(const std::unique_ptr<VData>& list) {
        Ids ids;
        for (const auto& row : list->rows) ids.push_back(static_cast<const Port&>(*row).id);
        return ids;
    }
    /// The ids from a row on; nothing when the owner doesn't know it.
    static std::optional<Ids> after(MapTable& table, const OID& index, unsigned count) {
        Key key = table.createKey(index, false);
        key.skipFirst = !key.empty();
        const auto list = key.empty() ? table.getFirst(count) : table.getNext(key, count);
        return list != nullptr ? std::optional(idsOf(list)) : std::nullopt;
    }

    static tn::message port(uint32_t id) { return messageOf({{tn::field::ObjectId, id}, {kName, "p"}, {kValue, id}}); }
    /// A page of ports, more of them announced.
    static tn::message page(const Ids& ids) {
        Messages items;
        for (const uint32_t id : ids) items.push_back(port(id));
        return messageOf({{tn::field::Objects, items}, {tn::field::Continue, ids.empty() ? 0U : ids.back() + 1}});
    }
    /// Answers the n-th request with the n-th reply, and from the last one on with that.
    void answers(const std::vector<tn::message>& replies) {
        ports.fetches = 0;
        ports.requests.clear();
        ports.lies = [this, replies](const tn::message&) {
            return replies[std::min<size_t>(ports.fetches, replies.size()) - 1];
        };
    }
    [[nodiscard]] Ids requested() const {
        Ids numbers;
        for (const tn::message& m : ports.requests) numbers.push_back(m.get_u32(tn::field::MaxObjects));
        return numbers;
    }

    GetAllProvider all{kPath, oneRow<Port::build>, 5};
    GetAllProvider named{kPath, buildNamed, 5};
    MapTable* byId = keepTable(&all, {{kPortColumns[0], tn::field::ObjectId.number}});
    MapTable byValue{&named, false};
};

TEST_F(RowFetchTest, OnlyTheRequestedRowItselfIsSkipped) {
    hasPorts({2, 3, 4, 5});
    EXPECT_THAT(after(*byId, OID{2}, 2), Optional(ElementsAre(3, 4)));
    ports.loses(2);  // its owner sends a placeholder
    EXPECT_THAT(after(*byId, OID{2}, 2), Optional(ElementsAre(3, 4)));
    answers({page({3, 4, 5})});  // another owner doesn't
    EXPECT_THAT(after(*byId, OID{2}, 2), Optional(ElementsAre(3, 4)));
    ports.lies = nullptr;
    ports.pageSize = 2;  // on a later page no row is the requested one
    EXPECT_THAT(after(*byId, OID{3}, 2), Optional(ElementsAre(4, 5)));
    tn::message gone = page({3, 4});
    put(gone.get_message_array_ref(tn::field::Objects)[0], {{tn::field::Gone, true}});
    answers({page({1, 2}), gone});
    EXPECT_THAT(after(*byId, {}, 3), Optional(ElementsAre(1, 2, 4))) << "goes between two pages";
    ports.lies = nullptr;
    ports.keyFields = {kValue};
    EXPECT_THAT(after(byValue, OID{30}, 2), Optional(ElementsAre(4, 5)));
}

TEST_F(RowFetchTest, AnErrorOnALaterPageKeepsTheRowsFetchedBefore) {
    const tn::message down = tn::errorMsg(tn::error::Unreachable, "no owner");
    const tn::message unknown = tn::errorMsg(tn::error::NotFound, "no such row");
    answers({page({1, 2}), down});
    EXPECT_THAT(after(*byId, {}, 5), Optional(ElementsAre(1, 2)));
    answers({page({1, 2}), down});
    EXPECT_THAT(after(*byId, OID{1}, 5), Optional(ElementsAre(2)));
    answers({page({1, 2}), unknown});
    EXPECT_THAT(after(*byId, {}, 5), Optional(ElementsAre(1, 2)));
    answers({unknown});
    EXPECT_EQ(after(*byId, OID{1}, 5), std::nullopt);
    EXPECT_EQ(byId->get(byId->createKey(OID{1}, true)), nullptr);
    answers({down});
    EXPECT_THAT(after(*byId, OID{1}, 5), Optional(SizeIs(0)));
}

TEST_F(RowFetchTest, AGetTakesTheFirstItemAlone) {
    answers({page({7, 8})});
    EXPECT_THAT(idsOf(byId->get(byId->createKey(OID{7}, true))), ElementsAre(7));
    EXPECT_THAT(requested(), ElementsAre(1));
    answers({page({})});
    EXPECT_THAT(idsOf(byId->get(byId->createKey(OID{7}, true))), SizeIs(0));
}

TEST_F(RowFetchTest, PagesWithoutRowsGrowAndEnd) {
    uint32_t id = 0;
    ports.lies = [&](const tn::message& m) {  // ports that aren't listed, without end
        Messages items;
        for (uint32_t n = m.get_u32(tn::field::MaxObjects); n > 0; --n) items.push_back(messageOf({{kValue, ++id}}));
        return messageOf({{tn::field::Objects, items}, {tn::field::Continue, id}});
    };
    EXPECT_THAT(after(byValue, {}, 2), Optional(SizeIs(0)));
    const Ids numbers = requested();
    EXPECT_THAT(Ids(numbers.begin(), numbers.begin() + 5), ElementsAre(3, 6, 12, 24, 48));
    EXPECT_EQ(numbers.back(), 1024U);
    EXPECT_EQ(numbers.size(), 64U);
    EXPECT_EQ(ports.requests[1].get_message(tn::field::Key).get_u32(kValue), 3U) << "continues at the last port seen";
}

TEST_F(RowFetchTest, AFetchEndsWhereItsOwnerRepeatsItself) {
    answers({page({1, 2}), page({2})});
    EXPECT_THAT(after(*byId, {}, 5), Optional(ElementsAre(1, 2)));
    EXPECT_EQ(ports.fetches, 2U);
    answers({page({5, 6}), page({3, 7}), page({4}), page({9})});
    EXPECT_THAT(after(*byId, {}, 5), Optional(ElementsAre(5, 6, 7))) << "ids that go back";
    EXPECT_EQ(ports.fetches, 3U);
    answers({messageOf({{tn::field::Objects, Messages{port(1), port(2)}}})});  // nothing more announced
    EXPECT_THAT(after(*byId, {}, 5), Optional(ElementsAre(1, 2)));
    EXPECT_EQ(ports.fetches, 1U);
    answers({page({1, 2, 3, 4})});
    EXPECT_THAT(after(*byId, {}, 3), Optional(ElementsAre(1, 2, 3))) << "more than requested";
}

TEST_F(RowFetchTest, RowsThatShareTheirKeyHideNothingAfterThem) {
    tn::message one = port(1), two = port(2), three = port(3);
    put(two, {{kValue, 1U}});
    const auto more = [](Messages items) {
        return messageOf({{tn::field::Objects, std::move(items)}, {tn::field::Continue, 1U}});
    };
    answers({more({one, two, two}), more({two, two, two, two}), more({two, two, three})});
    EXPECT_THAT(after(byValue, {}, 2), Optional(ElementsAre(1, 3)));
    answers({more({one, two, two}), more({two, two})});  // fewer than requested: there is nothing else
    EXPECT_THAT(after(byValue, {}, 2), Optional(ElementsAre(1)));
    EXPECT_EQ(ports.fetches, 2U);
}

TEST_F(RowFetchTest, AnItemAfterTheTablesLastRowEndsItAndNoRowIsSurplus) {
    const auto pairOf = [](const tn::message& item, Rows& rows) {
        for (int i = 0; i < 2; ++i) rows.push_back(Port::build(item));
        static_cast<Port&>(*rows.back()).id += 100;
        return std::unique_ptr<Data>();
    };
    GetAllProvider some(kPath, oneRow<Port::build>, 5, [](const tn::message& m) { return m.get_u32(kValue) >= 30; });
    MapTable* table = keepTable(&some, {{kPortColumns[0], tn::field::ObjectId.number}});
    hasPorts({1, 2, 3, 4});
    ports.pageSize = 3;
    EXPECT_THAT(after(*table, {}, 9), Optional(ElementsAre(1, 2)));
    EXPECT_EQ(ports.fetches, 1U);
    GetAllProvider pairs(kPath, pairOf, 5);
    table = keepTable(&pairs, {{kPortColumns[0], tn::field::ObjectId.number}});
    EXPECT_THAT(after(*table, {}, 1), Optional(ElementsAre(1))) << "an item's rows may be more than are wanted";
}

}  // namespace
}  // namespace snmp
