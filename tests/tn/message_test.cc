#include "tn/message.h"

#include <arpa/inet.h>
#include "listener.h"

namespace tn {
namespace {

TEST(Message, FieldsAreReplacedRemovedAndInsertedAgainInAnyOrder) {
    message m;
    for (const uint32_t id : {9U, 3U, 5U}) m.insert_u32(u32_id(id), id);
    for (const uint32_t id : {3U, 9U, 5U}) m.insert_u32(u32_id(id), id + 100);
    EXPECT_EQ(m.size(), 3U);
    for (const uint32_t id : {5U, 3U, 9U, 5U}) EXPECT_EQ(m.get_u32(u32_id(id)), id + 100);
    for (const uint32_t removed : {5U, 77U, 9U}) {  // 5 is last, where the look-up has ended
        m.remove(u32_id(removed));
        EXPECT_FALSE(m.has(u32_id(removed)));
    }
    m.insert_u32(u32_id(9), 7);
    EXPECT_EQ(m.get_u32(u32_id(9)), 7U);
    m.clear();
    EXPECT_TRUE(m.empty());
    EXPECT_EQ(with(m, u32_id(1), 9).get_u32(u32_id(1)), 9U);
}

TEST(Message, Be32IsTheSameFieldInNetworkOrder) {
    message m;
    m.insert_be32(be32_id(8), 0xc0000201);
    EXPECT_EQ(m.get_be32(be32_id(8)), 0xc0000201U);
    EXPECT_EQ(m.get_u32(u32_id(8)), htonl(0xc0000201));
    const std::vector<uint32_t> addresses = {1, 0x7f000001};
    m.insert_be32_array(be32_array_id(8), addresses);
    EXPECT_EQ(m.get_be32_array(be32_array_id(8)), addresses);
}

TEST(Message, ReferencesCreateTheFieldAndSurviveItsNeighboursGrowth) {
    message m;
    message& nested = m.get_message_ref(message_id(1));
    for (uint32_t id = 2; id < 200; ++id) m.insert_u32(u32_id(id), id);
    nested.insert_u32(u32_id(1), 42);
    EXPECT_EQ(m.get_message(message_id(1)).get_u32(u32_id(1)), 42U);
    m.get_message_array_ref(message_array_id(7)).emplace_back().insert_bool(bool_id(1), true);
    EXPECT_TRUE(m.get_message_array(message_array_id(7)).at(0).get_bool(bool_id(1)));
}

TEST(Message, CopiesAreDeepAndMovedFromIsEmpty) {
    message m = with(with({}, u32_id(9), 1), message_id(3), with({}, string_id(1), "inner"));
    message copy = m;
    copy.get_message_ref(message_id(3)).insert_string(string_id(1), "changed");
    EXPECT_EQ(m.get_message(message_id(3)).get_string(string_id(1)), "inner");
    EXPECT_FALSE(copy == m);

    const message taken = std::move(copy);
    EXPECT_TRUE(copy.empty());  // NOLINT(bugprone-use-after-move): that is the point
    EXPECT_EQ(with(copy, u32_id(2), 2).get_u32(u32_id(2)), 2U);
    EXPECT_EQ(taken.get_u32(u32_id(9)), 1U);
    m = std::move(m.get_message_ref(message_id(3)));
    EXPECT_EQ(m.get_string(string_id(1)), "inner") << "replaced by what it held itself";
}

TEST(Message, EqualityIgnoresOrderButNotValues) {
    const message yes = with({}, bool_id(1), true);
    const message a = with(numbered(1), message_id(2), yes);
    EXPECT_TRUE(a == with(with({}, message_id(2), yes), u32_id(1), 1));
    EXPECT_FALSE(a == with(numbered(1), message_id(2), with({}, bool_id(1), false)));
    EXPECT_FALSE(a == numbered(1));
    EXPECT_FALSE(numbered(1) == a);
}

TEST(Message, PrintsEachKindInOneLineAndNeverRawOctets) {
    message m = with(with({}, bool_id(1), true), string_id(2), "a\x1b[2J\n");
    m.insert_raw(raw_id(3), std::vector<uint8_t>{0x00, 0xff});
    m.get_message_ref(message_id(4)).insert_u32_array(u32_array_id(1), {20, 0});
    m.get_message_array_ref(message_array_id(5)).resize(1);
    EXPECT_EQ(testing::PrintToString(m),
              "{0x1:bool=yes, 0x2:string=\"a\\x1b[2J\\n\", 0x3:raw=00ff, 0x4:message={0x1:u32-array=20,0}, "
              "0x5:message-array={}}");
}

}  // namespace
}  // namespace tn
