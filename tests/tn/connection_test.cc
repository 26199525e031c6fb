#include "tn/connection.h"

#include <sys/socket.h>

#include <algorithm>
#include <iterator>

#include "listener.h"

namespace tn {
namespace {

class ConnectionTest : public testing::Test {
  protected:
    ConnectionTest() {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
        for (const int end : ends) makeRoomForPackets(end);
        connection.emplace(Descriptor(ends[0]), BusPeer{.pid = 1, .rights = right::Reading}, std::nullopt);
        other.emplace(Descriptor(ends[1]), BusPeer{.pid = 1, .rights = right::All}, std::nullopt);
    }
    /// Field 1 of all that the other end can receive.
    std::vector<uint32_t> received() {
        std::vector<uint32_t> all;
        std::vector<message> packet;
        while (other->receive(buffer, /*wait=*/false, packet) == Received::Packet)
            for (const message& m : packet) all.push_back(m.get_u32(u32_id(1)));
        return all;
    }
    static flat_message packet(uint32_t n, size_t octets = 0) {
        return with(numbered(n), string_id(2), std::string(octets, 'x')).flatten();
    }

    std::optional<Connection> connection, other;
    std::vector<uint8_t> buffer = std::vector<uint8_t>(kMaxPacket);
    Handler owner;
    std::vector<Handler*> owners;
};

TEST_F(ConnectionTest, QueueIsBoundedByWhatWaitsNotByTheSumOfAllPackets) {
    constexpr size_t kQuarter = kMaxPacket - 1000;
    for (int round = 0; round < 3; ++round) {
        for (uint32_t n = 0; n < 4; ++n) ASSERT_TRUE(connection->queue(packet(n, kQuarter))) << round;
        EXPECT_FALSE(connection->queue(packet(4, kQuarter)));
        EXPECT_EQ(connection->sendInTurn(packet(5)), Sent::Blocked) << "it would overtake what is queued";
        std::vector<uint32_t> all;
        for (; connection->hasQueue(); std::ranges::copy(received(), std::back_inserter(all)))
            EXPECT_NE(connection->flush(owners), Sent::Gone);
        EXPECT_THAT(all, ElementsAre(0, 1, 2, 3));
    }
    for (uint32_t n = 0; n < 2048; ++n) ASSERT_TRUE(connection->queue(packet(n)));
    EXPECT_FALSE(connection->queue(packet(0)));
}

TEST_F(ConnectionTest, MergedNotificationsTakeNoRoomAndEachOwnerIsReportedOncePerEntry) {
    bool merged = false;
    const auto queued = [&](uint32_t object, size_t octets) {
        return connection->queue({.owner = &owner, .command = kNote, .object = object, .subscriber = {}},
                                 packet(object, octets), merged);
    };
    for (uint32_t n = 0; n < kMergeBeyond; ++n) ASSERT_TRUE(queued(n, 0));
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(queued(7, 100'000) && merged);
    connection->dropQueue(owners);
    EXPECT_EQ(owners.size(), kMergeBeyond);
    EXPECT_FALSE(connection->hasQueue());
    for (uint32_t n = 0; n < 4; ++n) EXPECT_TRUE(connection->queue(packet(n, kMaxPacket - 1000)));
}

}  // namespace
}  // namespace tn
