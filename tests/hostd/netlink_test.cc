// A netlink socket, by messages of another one.

#include "hostd/netlink.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace hostd {

namespace {

using Outcome = NetlinkSocket::Outcome;
using ::testing::ElementsAre;

class NetlinkSocketTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(socket_.open(NETLINK_USERSOCK, 0));
        other_ = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK);
        ASSERT_GE(other_, 0);
        socklen_t size = sizeof address_;
        ASSERT_EQ(::getsockname(socket_.fd(), reinterpret_cast<sockaddr*>(&address_), &size), 0);
    }
    void TearDown() override { ::close(other_); }

    /// One packet, of messages with these types and lengths.
    void sends(const std::vector<std::pair<uint16_t, uint32_t>>& messages) {
        std::vector<uint8_t> packet;
        for (const auto& [type, length] : messages) {
            const nlmsghdr header{
                .nlmsg_len = length, .nlmsg_type = type, .nlmsg_flags = 0, .nlmsg_seq = 0, .nlmsg_pid = 0};
            const size_t start = packet.size();
            packet.resize(start + length);
            std::memcpy(packet.data() + start, &header, sizeof header);
        }
        ASSERT_EQ(::sendto(other_, packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&address_),
                           sizeof address_),
                  static_cast<ssize_t>(packet.size()));
    }
    Outcome takes(size_t packets) {
        types_.clear();
        return socket_.take(packets, [this](const nlmsghdr& message) { types_.push_back(message.nlmsg_type); });
    }

    NetlinkSocket socket_;
    std::vector<uint16_t> types_;

  private:
    int other_ = -1;
    sockaddr_nl address_{};
};

}  // namespace

TEST_F(NetlinkSocketTest, AMessageThatIsLongerThanWhatIsReadCountsAsLost) {
    sends({{20, 16}, {21, 128 * 1024 - 16}});
    sends({{22, 16}});
    EXPECT_EQ(takes(2), Outcome::Full);
    EXPECT_THAT(types_, ElementsAre(20, 21, 22));
    EXPECT_EQ(takes(2), Outcome::Empty);

    sends({{23, 16}, {24, 128 * 1024 - 12}});
    sends({{25, 16}});
    errno = 0;
    EXPECT_EQ(takes(5), Outcome::Overrun);
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_THAT(types_, ElementsAre(23, 25));  // what is whole, and all that waits, is taken still
    EXPECT_EQ(takes(1), Outcome::Empty);
}

}  // namespace hostd
