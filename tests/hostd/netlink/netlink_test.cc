// A netlink socket that receives another one's messages.

#include "hostd/netlink/netlink.h"

#include <gmock/gmock.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace hostd {

namespace {

using Outcome = NetlinkSocket::Outcome;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A socket with an address of its own.
NetlinkSocket* opened(NetlinkSocket* socket, int bus) {
    EXPECT_TRUE(socket->open(bus, 0));
    return socket;
}
sockaddr_nl addressOf(const NetlinkSocket& socket) {
    sockaddr_nl address{};
    socklen_t size = sizeof address;
    EXPECT_EQ(::getsockname(socket.fd(), reinterpret_cast<sockaddr*>(&address), &size), 0);
    return address;
}

class NetlinkSocketTest : public ::testing::Test {
  protected:
    /// One packet, of messages with these types and lengths.
    void sends(const NetlinkSocket& from, const std::vector<std::pair<uint16_t, uint32_t>>& messages,
               uint32_t number = 0) {
        const sockaddr_nl address = addressOf(*socket_);
        std::vector<uint8_t> packet;
        for (const auto& [type, length] : messages) {
            const nlmsghdr header{
                .nlmsg_len = length, .nlmsg_type = type, .nlmsg_flags = 0, .nlmsg_seq = number, .nlmsg_pid = 0};
            const size_t start = packet.size();
            packet.resize(start + length);
            std::memcpy(packet.data() + start, &header, sizeof header);
        }
        ASSERT_EQ(::sendto(from.fd(), packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                           sizeof address),
                  static_cast<ssize_t>(packet.size()));
    }
    NetlinkSocket::Consumer records() {
        types_.clear();
        return [this](const nlmsghdr& message) { types_.push_back(message.nlmsg_type); };
    }

    const std::unique_ptr<NetlinkSocket> other_{opened(new NetlinkSocket, NETLINK_USERSOCK)};
    const std::unique_ptr<NetlinkSocket> socket_{
        opened(new NetlinkSocket(addressOf(*other_).nl_pid), NETLINK_USERSOCK)};
    std::vector<uint16_t> types_;
};

}  // namespace

TEST_F(NetlinkSocketTest, AMessageThatIsLongerThanWhatIsReadCountsAsLost) {
    sends(*other_, {{20, 16}, {21, 128 * 1024 - 16}});
    sends(*other_, {{22, 16}});
    EXPECT_EQ(socket_->receive(2, records()), Outcome::Full);
    EXPECT_THAT(types_, ElementsAre(20, 21, 22));
    sends(*other_, {{23, 16}, {24, 128 * 1024 - 12}});
    sends(*other_, {{25, 16}});
    errno = 0;
    EXPECT_EQ(socket_->receive(5, records()), Outcome::Overrun);
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_THAT(types_, ElementsAre(23, 25));  // what is whole, and all that waits, is received still
    EXPECT_EQ(socket_->receive(1, records()), Outcome::Empty);
}

TEST_F(NetlinkSocketTest, MessagesOfStrangersAndLateAnswersArePassedOver) {
    const std::unique_ptr<NetlinkSocket> stranger(opened(new NetlinkSocket, NETLINK_USERSOCK));
    sends(*stranger, {{20, 16}});
    sends(*other_, {{21, 16}}, 77);  // nothing was requested: the number is that of the process that caused it
    EXPECT_EQ(socket_->receive(9, records()), Outcome::Empty);
    EXPECT_THAT(types_, ElementsAre(21));

    NetlinkSocket kernel;
    ASSERT_TRUE(kernel.open(NETLINK_ROUTE, 0));
    for (const int index : {1, INT32_MAX}) {  // the first is answered by the time it is sent, and given up
        NetlinkRequests request;
        request.add<ifinfomsg>(RTM_GETLINK, NLM_F_ACK).ifi_index = index;
        request.finish();
        ASSERT_TRUE(kernel.send(request));
    }
    EXPECT_FALSE(kernel.receiveReply(records()));
    EXPECT_EQ(errno, ENODEV);
    EXPECT_THAT(types_, IsEmpty());
}

}  // namespace hostd
