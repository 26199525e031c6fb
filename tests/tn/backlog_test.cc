#include "tn/backlog.h"

#include "listener.h"
#include "tn/thin_runner.h"

namespace tn {
namespace {

constexpr size_t kMebibyte = 1 << 20;

message note(uint32_t n, uint32_t object) {
    return with(with(numbered(n), field::Command, kNote), field::ObjectId, object);
}

message requestOf(uint32_t n) { return with(note(n, 0), field::RequestId, n + 1); }

class BacklogTest : public testing::Test {
  protected:
    std::vector<uint32_t> delivered() {
        runner.runOnce({});
        return std::exchange(seen, {});
    }

    ThinRunner runner;
    std::vector<uint32_t> seen;
    std::function<void()> onDelivery = [] {};
    Backlog backlog{runner, [this](const ConnectionPtr&, message& m) {
                        seen.push_back(m.get_u32(u32_id(1)));
                        onDelivery();
                    }};
};

TEST_F(BacklogTest, LimitIsOnWhatWaitsNotOnTheSumOfAllPackets) {
    for (int round = 0; round < 4; ++round) {
        EXPECT_TRUE(backlog.add(nullptr, note(1, 1), 9 * kMebibyte));
        EXPECT_TRUE(backlog.add(nullptr, note(2, 2), 7 * kMebibyte));
        EXPECT_FALSE(backlog.add(nullptr, note(3, 3), 1)) << "16 MiB are there";
        if (round % 2 == 0) {
            EXPECT_THAT(delivered(), ElementsAre(1, 2));
        } else {
            backlog.clear();
        }
    }
    for (uint32_t n = 0; n < 16'384; ++n) ASSERT_TRUE(backlog.add(nullptr, requestOf(n), 10));
    EXPECT_FALSE(backlog.add(nullptr, requestOf(0), 10)) << "requests are never merged";
    EXPECT_EQ(delivered().size(), 16'384U);
}

TEST_F(BacklogTest, MergedNotificationsTakeNoRoomAndTheLatestStateIsDelivered) {
    for (uint32_t n = 0; n < kMergeBeyond; ++n) ASSERT_TRUE(backlog.add(nullptr, note(n, n), 10));
    for (uint32_t n = 0; n < 100; ++n) ASSERT_TRUE(backlog.add(nullptr, note(1000 + n, 7), kMebibyte)) << n;
    const std::vector<uint32_t> all = delivered();
    ASSERT_EQ(all.size(), kMergeBeyond);
    EXPECT_EQ(all[6], 6U);
    EXPECT_EQ(all[7], 1099U);
}

TEST_F(BacklogTest, PacketsAddedByADeliveryWaitForTheNextRound) {
    onDelivery = [this] { EXPECT_TRUE(backlog.add(nullptr, note(9, 9), 10)); };
    EXPECT_TRUE(backlog.add(nullptr, note(1, 1), 10));
    EXPECT_THAT(delivered(), ElementsAre(1));
    onDelivery = [] {};
    EXPECT_THAT(delivered(), ElementsAre(9));
    EXPECT_TRUE(backlog.empty());
}

}  // namespace
}  // namespace tn
