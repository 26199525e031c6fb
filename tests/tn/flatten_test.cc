#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <fstream>

#include "listener.h"
#include "tn/message.h"

namespace tn {
namespace {

using Bytes = flat_message;

/// Octets of a flattened message, written as a test reads.
struct Octets : Bytes {
    explicit Octets(uint8_t version = 1) { push_back(version); }
    Octets& u32(uint32_t n) {
        for (int shift = 0; shift < 32; shift += 8) push_back(static_cast<uint8_t>(n >> shift));
        return *this;
    }
    Octets& octets(std::initializer_list<int> list) {
        for (const int each : list) push_back(static_cast<uint8_t>(each));
        return *this;
    }
    Octets& id(Kind kind, uint32_t number) { return u32(number | static_cast<uint32_t>(kind)); }
};

message everyKind() {
    message m = with(with(with({}, u32_id(9), 0xffffffff), bool_id(1), true), string_id(4), std::string("\0text", 5));
    m.insert_u64(u64_id(2), ~0ULL);
    m.insert_addr6(addr6_id(3), IPAddr6::ofIPv4(0x7f000001));
    m.insert_raw(raw_id(5), {});
    m.insert_u32_array(u32_array_id(6), {1, 2, 3});
    m.insert_string_array(string_array_id(7), {"", "b"});
    m.get_message_ref(message_id(8)).insert_bool(bool_id(1), false);
    m.get_message_array_ref(message_array_id(8)).resize(2);
    m.get_message_array_ref(message_array_id(8))[1].get_message_ref(message_id(1));
    return m;
}

message nested(size_t levels) {
    message m;
    for (size_t i = 1; i < levels; ++i) m = with({}, message_id(1), std::move(m));
    return m;
}

TEST(Flatten, EveryKindComesBackTheSame) {
    const message m = everyKind();
    const Bytes bytes = m.flatten();
    EXPECT_EQ(bytes.size(), m.flatSize());
    message back;
    ASSERT_TRUE(message::unflatten(bytes, back));
    EXPECT_TRUE(back == m);
    EXPECT_EQ(back.flatten(), bytes) << "the order is preserved";
    Bytes twice = bytes;
    ASSERT_TRUE(m.flattenTo(twice));
    EXPECT_TRUE(std::ranges::equal(std::span(twice).first(bytes.size()), std::span(twice).subspan(bytes.size())));
    back.insert_bool(bool_id(1), false);  // an id below the greatest is found, not appended a second time
    EXPECT_EQ(back.size(), m.size());
}

TEST(Flatten, LayoutIsTheOneWrittenDown) {
    const message m = with(with({}, u32_id(0xff0007), 0x01020304), string_id(2), "ab");
    EXPECT_EQ(
        m.flatten(),
        Octets().u32(2).id(Kind::U32, 0xff0007).octets({4, 3, 2, 1}).id(Kind::String, 2).u32(2).octets({'a', 'b'}));
    EXPECT_EQ(message().flatten(), Octets().u32(0));
}

TEST(Flatten, NestingIsBoundedBothWays) {
    message back;
    EXPECT_TRUE(message::unflatten(nested(kMaxNesting).flatten(), back));
    Bytes out = {1, 2};
    EXPECT_FALSE(nested(kMaxNesting + 1).flattenTo(out));
    EXPECT_EQ(out, (Bytes{1, 2}));

    Octets deep;
    Octets deepArray;
    for (int i = 0; i < 60'000; ++i) {
        deep.u32(1).id(Kind::Message, 1);
        deepArray.u32(1).id(Kind::MessageArray, 1).u32(1);
    }
    EXPECT_FALSE(message::unflatten(deep, back));
    EXPECT_FALSE(message::unflatten(deepArray, back));
}

TEST(Flatten, EveryCutIsRefused) {
    const Bytes bytes = everyKind().flatten();
    for (size_t length = 0; length < bytes.size(); ++length) {
        message back = everyKind();
        EXPECT_FALSE(message::unflatten(std::span(bytes).first(length), back)) << length;
        EXPECT_TRUE(back.empty()) << length;
    }
}

TEST(Flatten, APacketIsUpTo16WholeMessages) {
    const Bytes one = everyKind().flatten();
    Bytes packet;
    std::vector<message> back;
    for (size_t count = 0; count <= kMaxTogether + 1; ++count) {
        EXPECT_EQ(message::unflatten(packet, back), count > 0 && count <= kMaxTogether) << count;
        const std::vector<message> all(count > kMaxTogether ? 0 : count, everyKind());
        EXPECT_EQ(back, all);
        packet.insert(packet.end(), one.begin(), one.end());
    }
    EXPECT_FALSE(message::unflatten(std::span(packet).first(2 * one.size() - 1), back));
    EXPECT_TRUE(back.empty());
}

TEST(Flatten, RefusesWhatNobodyWrites) {
    const std::pair<const char*, Bytes> refused[] = {
        {"no octets", {}},
        {"another version", Octets(2).u32(0)},
        {"octets after the end", Octets().u32(0).octets({0})},
        {"more fields than octets", Octets().u32(0xffffffff)},
        {"kind that isn't one", Octets().u32(1).u32(0x38000001).u32(0)},
        {"array of a kind without arrays", Octets().u32(1).u32(0x90000001).u32(0)},
        {"bool that is neither", Octets().u32(1).id(Kind::Bool, 1).octets({2})},
        {"string longer than the rest", Octets().u32(1).id(Kind::String, 1).u32(0xffffffff).octets({'a'})},
        {"numbers beyond the end", Octets().u32(1).id(Kind::U32Array, 1).u32(0x40000001).u32(1)},
        {"strings beyond the end", Octets().u32(1).id(Kind::StringArray, 1).u32(2).u32(0)},
        {"messages beyond the end", Octets().u32(1).id(Kind::MessageArray, 1).u32(0x20000000).u32(0)},
        {"a field twice, in order", Octets().u32(2).id(Kind::Bool, 1).octets({0}).id(Kind::Bool, 1).octets({0})},
        {"a field twice, apart",
         Octets().u32(3).id(Kind::Bool, 2).octets({0}).id(Kind::Bool, 1).octets({0}).id(Kind::Bool, 2).octets({0})},
    };
    message back;
    for (const auto& [reason, bytes] : refused) EXPECT_FALSE(message::unflatten(bytes, back)) << reason;
}

/// Ends the process with 0 when the bytes are refused without this much more address space than there is now.
[[noreturn]] void refuseWithin(const Bytes& bytes, size_t room) {
    size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlim_t limit = pages * static_cast<size_t>(sysconf(_SC_PAGESIZE)) + room;
    const rlimit bound{limit, limit};
    setrlimit(RLIMIT_AS, &bound);
    message back;
    _exit(message::unflatten(bytes, back) ? 1 : 0);
}

TEST(Flatten, PacketOfPromisesCostsLittleMemory) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer's own memory can't be bounded";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "the sanitizer's own memory can't be bounded";
#endif
#endif
    // Each level promises as many fields as there are octets left for, and holds only the next level.
    Octets promises;
    for (size_t level = 0; level < kMaxNesting; ++level)
        promises.u32(static_cast<uint32_t>((kMaxPacket - promises.size()) / 5 - 10)).id(Kind::Message, 1);
    promises.resize(kMaxPacket);
    EXPECT_EXIT(refuseWithin(promises, 8U << 20), testing::ExitedWithCode(0), "");
}

TEST(Flatten, UnorderedFieldsOfAFullPacketTakeNoQuadraticTime) {
    constexpr uint32_t kFields = 50'000;
    Octets bytes;
    bytes.u32(kFields);
    for (uint32_t i = kFields; i > 0; --i) bytes.id(Kind::Bool, i).octets({0});
    message back;
    const clock_t start = clock();
    EXPECT_TRUE(message::unflatten(bytes, back));
    EXPECT_LT(static_cast<double>(clock() - start) / CLOCKS_PER_SEC, 0.5);
    EXPECT_EQ(back.size(), kFields);
}

}  // namespace
}  // namespace tn
