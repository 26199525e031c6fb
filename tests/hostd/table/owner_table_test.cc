// What an owner answers to get-all and its kin, whatever its rows are.

#include "hostd/table/owner_table.h"

#include <algorithm>
#include <map>

#include "hostd/table/id_table.h"
#include "tests/hostd/ask.h"

namespace hostd {

namespace {

namespace field = tn::field;

constexpr tn::be32_id kDestination{1};
constexpr tn::be32_id kMask{2};
constexpr tn::u32_id kGateway{3};
constexpr tn::string_id kText{10};

/// Rows with a key of three fields, as routes have, in a sorted vector.
class Routes : public OwnerTable<size_t> {
  public:
    Routes() : OwnerTable({kDestination, kMask, kGateway}) {}
    using Route = std::array<uint32_t, 3>;
    std::vector<Route> routes;
    mutable size_t looked = 0;  ///< queries of the source

  protected:
    uint32_t rowCount() const override { return static_cast<uint32_t>(routes.size()); }
    std::optional<size_t> lowerBound(const RowKey& key) const override {
        ++looked;
        const auto found = std::ranges::lower_bound(routes, Route{key.u32(0), key.u32(4), key.u32(8)});
        return found == routes.end() ? std::nullopt : std::optional(static_cast<size_t>(found - routes.begin()));
    }
    std::optional<size_t> after(size_t row) const override {
        ++looked;
        return row + 1 < routes.size() ? std::optional(row + 1) : std::nullopt;
    }
    RowKey keyOf(size_t row) const override {
        RowKey key(12);
        for (size_t i = 0; i < 3; ++i) key.putU32(i * 4, routes[row][i]);
        return key;
    }
    void writeRow(size_t row, tn::message& item) const override {
        item.insert_be32(kDestination, routes[row][0]);
        item.insert_be32(kMask, routes[row][1]);
        item.insert_u32(kGateway, routes[row][2]);
    }
};

/// Rows known by id, each with a text.
class Texts : public IdTable {
  public:
    std::map<uint32_t, std::string> rows;
    std::vector<uint32_t> shown;

  protected:
    uint32_t rowCount() const override { return static_cast<uint32_t>(rows.size()); }
    std::optional<uint32_t> firstFrom(uint32_t id) const override {
        const auto found = rows.lower_bound(id);
        return found == rows.end() ? std::nullopt : std::optional(found->first);
    }
    void writeRow(uint32_t id, tn::message& row) const override { row.insert_string(kText, rows.at(id)); }
    void refreshRows(std::span<const uint32_t> ids) override { shown.assign(ids.begin(), ids.end()); }
    tn::message changeRow(uint32_t id, const tn::message& request) override {
        rows[id] = request.get_string(kText);
        return {};
    }
};

tn::message send(tn::Handler& table, const tn::message& request, uint32_t command = tn::cmd::GetAll) {
    return ask(table, command, request);
}

tn::message from(std::optional<uint32_t> id, uint32_t most) {
    const tn::message request = tn::with({}, field::MaxObjects, most);
    return id ? tn::with(request, field::Continue, *id) : request;
}

tn::message atKey(const tn::message& key, uint32_t most) { return tn::with(from({}, most), field::Key, key); }

tn::message key(std::optional<uint32_t> destination, std::optional<uint32_t> mask = {},
                std::optional<uint32_t> gateway = {}, bool isIncomplete = false) {
    tn::message key;
    if (destination) key.insert_be32(kDestination, *destination);
    if (mask) key.insert_be32(kMask, *mask);
    if (gateway) key.insert_u32(kGateway, *gateway);
    if (isIncomplete) key.insert_bool(field::KeyIncomplete, true);
    return key;
}

/// The items in short: "7>9" for row 7 followed by row 9, "10/8/1" for one known by its key, "7!" for one that has
/// gone.
std::vector<std::string> items(const tn::message& reply) {
    std::vector<std::string> all;
    for (const tn::message& item : reply.get_message_array(field::Objects)) {
        std::string& text = all.emplace_back();
        if (item.has(field::ObjectId)) text = std::to_string(item.get_u32(field::ObjectId));
        if (item.has(kDestination)) text = std::to_string(item.get_be32(kDestination));
        if (item.has(kMask)) text += "/" + std::to_string(item.get_be32(kMask));
        if (item.has(kGateway)) text += "/" + std::to_string(item.get_u32(kGateway));
        if (item.get_bool(field::Gone)) text += "!";
        if (item.has(field::NextId)) text += ">" + std::to_string(item.get_u32(field::NextId));
    }
    return all;
}

constexpr uint32_t kNone = UINT32_MAX;
uint32_t more(const tn::message& reply) { return reply.get_u32(field::Continue, kNone); }

}  // namespace

TEST(IdTable, ItemsStartAtTheRequestedRowAndNameTheOnesThatFollow) {
    Texts table;
    table.rows = {{2, "b"}, {5, "e"}, {tn::kNoId - 1, "last"}};
    const struct {
        tn::message request;
        std::vector<std::string> items;
        uint32_t more, error = 0;
    } cases[] = {
        {{}, {"2>5", "5>4294967294", "4294967294"}, kNone}, {from({}, 0), {"2>5"}, 5},
        {from(5, 1), {"5>4294967294"}, tn::kNoId - 1},      {from(tn::kNoId - 1, 9), {"4294967294"}, kNone},
        {from(3, 1), {}, kNone, tn::error::NotFound},       {from(3, 2), {"3!>5", "5>4294967294"}, tn::kNoId - 1},
        {from(tn::kNoId, 2), {"4294967295!"}, kNone},       {from({}, 2), {"2>5", "5>4294967294"}, tn::kNoId - 1},
    };
    for (const auto& c : cases) {
        const tn::message reply = send(table, c.request);
        EXPECT_EQ(items(reply), c.items);
        EXPECT_EQ(more(reply), c.more);
        EXPECT_EQ(errorOf(reply), c.error);
    }
    EXPECT_THAT(table.shown, ElementsAre(2, 5));  // the row that only follows isn't read
    EXPECT_FALSE(send(table, from(3, 2)).get_message_array(field::Objects)[0].has(kText));

    table.rows.clear();
    EXPECT_THAT(items(send(table, {})), IsEmpty());
    EXPECT_EQ(errorOf(send(table, {})), 0U);
}

TEST(IdTable, PagesByWhatFitsIntoOnePacket) {
    Texts table;
    for (uint32_t id = 1; id <= 1000; ++id) table.rows[id] = std::string(3900, 'x');
    const tn::message page = send(table, from({}, UINT32_MAX));
    EXPECT_LE(page.flatSize(), tn::kMaxPacket);
    EXPECT_GT(items(page).size(), 50U);
    EXPECT_LE(send(table, {}).flatSize(), tn::kMaxPacket);  // without a number of items, too
    EXPECT_EQ(rowsOf(table).size(), 1000U);
}

TEST(IdTable, OneRowIsReadAndSetById) {
    Texts table;
    table.rows = {{0, "zero"}, {7, "seven"}};
    for (const uint32_t command : {tn::cmd::Get, tn::cmd::GetObj}) {
        EXPECT_EQ(send(table, of(7), command).get_string(kText), "seven");
        EXPECT_EQ(send(table, of(7), command).get_u32(field::ObjectId), 7U);
        for (const tn::message& nothing : {tn::message(), of(6)})
            EXPECT_EQ(errorOf(send(table, nothing, command)), tn::error::NotFound);
    }
    for (const auto& [id, error] : {std::pair(7U, 0U), {8U, tn::error::NotFound}}) {
        EXPECT_EQ(errorOf(send(table, tn::with(of(id), kText, "new"), tn::cmd::Set)), error);
    }
    EXPECT_EQ(table.rows[7], "new");
    EXPECT_EQ(table.getObjectCount(), 2U);
}

class KeyedTable : public ::testing::Test {
  protected:
    KeyedTable() { table.routes = {{0, 0, 1}, {10, 8, 1}, {10, 8, 2}, {10, 24, 1}, {20, 8, 1}, {kNone, kNone, kNone}}; }
    Routes table;
};

TEST_F(KeyedTable, StartsAtTheKeyOrTheNearestRowAndCountsRowsThatAgreeInTheFieldsNamedAsOne) {
    const struct {
        tn::message key;
        uint32_t most;
        std::vector<std::string> items;
    } cases[] = {
        {key(10, 8, 2), 3, {"10/8/2", "10/24/1", "20/8/1"}},
        {key(kNone, kNone, kNone), 3, {"4294967295/4294967295/4294967295"}},
        {key(10, 8, 3), 2, {"10/8/3!", "10/24/1"}},
        {key(10, 8, 3), 1, {}},
        {key(10, {}, {}, true), 3, {"10/8/1", "10/8/2", "10/24/1"}},
        {key(11, {}, {}, true), 1, {"20/8/1"}},
        {key({}, {}, {}, true), 1, {"0/0/1"}},
        {key(10), 9, {"10/8/1", "20/8/1", "4294967295/4294967295/4294967295"}},
        {key(10, 8), 2, {"10/8/1", "10/24/1"}},
        {key(15), 2, {"15!", "20/8/1"}},
        {key({}, 0), 2, {"0/0/1", "10/8/1"}},  // a field left out before a named one is that of the first row
    };
    for (const auto& c : cases) {
        const tn::message reply = send(table, atKey(c.key, c.most));
        EXPECT_EQ(items(reply), c.items) << &c - cases;
        EXPECT_EQ(errorOf(reply), c.items.empty() ? tn::error::NotFound : 0U) << &c - cases;
    }
    for (const auto& [most, isMore] : {std::pair(3U, true), {4U, false}})
        EXPECT_EQ(send(table, atKey(key(10, 8, 2), most)).has(field::Continue), isMore);
    EXPECT_FALSE(send(table, atKey(key(20), 2)).has(field::Continue));
    EXPECT_EQ(errorOf(send(table, from(1, 2))), tn::error::Refused);  // these rows have no ids
}

TEST_F(KeyedTable, CostsNoMoreInALargeTable) {
    table.routes.clear();
    for (uint32_t i = 0; i < 100'000; ++i) table.routes.push_back({i / 10, i % 10, i});
    table.looked = 0;
    for (const tn::message& where : {key(5000, 3, 50'003), key(5000)})
        EXPECT_EQ(items(send(table, atKey(where, 26))).size(), 26U);
    EXPECT_LT(table.looked, 26U * 4);
}

TEST_F(KeyedTable, OneRowIsReadByKeyAndNothingIsWrittenUnlessAllowed) {
    EXPECT_EQ(send(table, atKey(key(10, 24, 1), 1), tn::cmd::Get).get_be32(kMask), 24U);
    EXPECT_EQ(errorOf(send(table, key(10, 24, 1), tn::cmd::Set)), tn::error::Refused);
}

TEST(RowKey, KeepsTheOrderOfOctetsAndRefusesRawOfAnotherWidth) {
    constexpr tn::raw_id kMac{2};
    const KeyField mac(kMac, 6);
    tn::message m;
    m.insert_raw(kMac, std::vector<uint8_t>{1, 2, 3});
    RowKey key(6);
    EXPECT_FALSE(mac.read(m, key.part(0, 6)));
    EXPECT_THAT(key.part(0, 6), ElementsAre(1, 2, 3, 0, 0, 0));
    m.insert_raw(kMac, std::vector<uint8_t>{1, 2, 3, 4, 5, 255, 7});
    EXPECT_FALSE(mac.read(m, key.part(0, 6)));
    ASSERT_TRUE(key.pastFirst(6).has_value());
    EXPECT_THAT(key.pastFirst(6)->part(0, 6), ElementsAre(1, 2, 3, 4, 6, 0));
    EXPECT_THAT(key.pastFirst(2)->part(0, 6), ElementsAre(1, 3, 0, 0, 0, 0));
}

TEST(RowKey, OctetsAndTextsOfVariableLengthSortByLengthFirst) {
    constexpr tn::raw_id kOctets{2};
    constexpr tn::string_id kWord{3};
    for (const KeyField& field : {KeyField::variable(kOctets, 3), KeyField::variable(kWord, 3)}) {
        RowKey last(field.width());
        for (const std::string value : {"b", "aa", "aaa", "aab", "aaaa"}) {
            tn::message m;
            m.insert_raw(kOctets, std::vector<uint8_t>(value.begin(), value.end()));
            m.insert_string(kWord, value);
            RowKey key(field.width());
            EXPECT_TRUE(field.isIn(m));
            EXPECT_EQ(field.read(m, key.part(0, field.width())), value.size() <= 3) << value;
            EXPECT_TRUE(last < key) << value;
            tn::message copy;
            field.write(key.part(0, field.width()), copy);
            const auto raw = copy.get_raw(kOctets);
            EXPECT_EQ(copy.get_string(kWord) + std::string(raw.begin(), raw.end()), value.substr(0, 3));
            last = key;
        }
    }
}

}  // namespace hostd
