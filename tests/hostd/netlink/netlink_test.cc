// A netlink socket that receives another one's messages, or those of a network namespace of the test.

#include "hostd/netlink/netlink.h"

#include <gmock/gmock.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include "tests/hostd/netlink/netlink_message.h"
#include "tests/hostd/netlink/own_network.h"

namespace hostd {

namespace {

using Outcome = NetlinkSocket::Outcome;
using ::testing::ElementsAre;

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
    void sends(const std::vector<std::pair<uint16_t, uint32_t>>& messages, uint32_t number = 0) {
        sends(*other_, messages, number);
    }
    void sends(const NetlinkSocket& from, const std::vector<std::pair<uint16_t, uint32_t>>& messages, uint32_t number) {
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
    void send(nlmsghdr* message) {
        const sockaddr_nl address = addressOf(*socket_);
        ASSERT_EQ(::sendto(other_->fd(), message, message->nlmsg_len, 0, reinterpret_cast<const sockaddr*>(&address),
                           sizeof address),
                  static_cast<ssize_t>(message->nlmsg_len));
    }
    Outcome receives(size_t packets) {
        types_.clear();
        return socket_->receive(packets, [this](const nlmsghdr& message) { types_.push_back(message.nlmsg_type); });
    }

    const std::unique_ptr<NetlinkSocket> other_{opened(new NetlinkSocket, NETLINK_USERSOCK)};
    const std::unique_ptr<NetlinkSocket> socket_{
        opened(new NetlinkSocket(addressOf(*other_).nl_pid), NETLINK_USERSOCK)};
    std::vector<uint16_t> types_;
};

/// Causes more notifications of a link's changes than fit into a socket's default buffer.
void flood() {
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    for (int i = 0; i < 1000; ++i) {
        request.ifr_mtu = 1500 + i % 2;
        ASSERT_EQ(::ioctl(socket, SIOCSIFMTU, &request), 0);
    }
    ::close(socket);
}

}  // namespace

TEST_F(NetlinkSocketTest, AMessageThatIsLongerThanWhatIsReadCountsAsLost) {
    sends({{20, 16}, {21, 128 * 1024 - 16}});
    sends({{22, 16}});
    EXPECT_EQ(receives(2), Outcome::Full);
    EXPECT_THAT(types_, ElementsAre(20, 21, 22));
    EXPECT_EQ(receives(2), Outcome::Empty);

    sends({{23, 16}, {24, 128 * 1024 - 12}});
    sends({{25, 16}});
    errno = 0;
    EXPECT_EQ(receives(5), Outcome::Overrun);
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_THAT(types_, ElementsAre(23, 25));  // what is whole, and all that waits, is taken still
    EXPECT_EQ(receives(1), Outcome::Empty);
}

TEST_F(NetlinkSocketTest, MessagesOfStrangersAndLateAnswersArePassedOver) {
    const std::unique_ptr<NetlinkSocket> stranger(opened(new NetlinkSocket, NETLINK_USERSOCK));
    sends(*stranger, {{20, 16}}, 0);
    sends({{21, 16}}, 77);  // nothing was requested: the number is that of the process that caused it
    EXPECT_EQ(receives(9), Outcome::Empty);
    EXPECT_THAT(types_, ElementsAre(21));

    NetlinkSocket kernel;
    ASSERT_TRUE(kernel.open(NETLINK_ROUTE, 0));
    NetlinkRequests given_up;
    given_up.add<ifinfomsg>(RTM_GETLINK, 0).ifi_index = 1;
    given_up.finish();
    ASSERT_TRUE(kernel.send(given_up));  // and answered by the time this returns
    NetlinkRequests refused;
    refused.add<ifinfomsg>(RTM_GETLINK, NLM_F_ACK).ifi_index = INT32_MAX;
    refused.finish();
    ASSERT_TRUE(kernel.send(refused));
    EXPECT_FALSE(kernel.receiveReply([this](const nlmsghdr& message) { types_.push_back(message.nlmsg_type); }));
    EXPECT_EQ(errno, ENODEV);
    EXPECT_THAT(types_, ElementsAre(21));
}

TEST_F(NetlinkSocketTest, AReplyIsWholeOnlyWithItsEndAndWithoutAnErrorOrAnInterruption) {
    const auto receives = [this](uint16_t flags, uint16_t last, std::optional<int> code) {
        std::vector<NetlinkMessage<nlmsgerr>> messages;
        messages.emplace_back(uint16_t{20}, nlmsgerr{});
        messages.back().raw()->nlmsg_flags = flags;
        if (last != 0) messages.emplace_back(last, nlmsgerr{.error = code.value_or(0), .msg = {}});
        if (last != 0 && !code) messages.back().raw()->nlmsg_len = NLMSG_HDRLEN;
        for (NetlinkMessage<nlmsgerr>& message : messages) send(message.raw());
        types_.clear();
        errno = 0;
        return socket_->receiveReply([this](const nlmsghdr& message) { types_.push_back(message.nlmsg_type); });
    };
    EXPECT_TRUE(receives(NLM_F_MULTI, NLMSG_DONE, 0));
    EXPECT_THAT(types_, ElementsAre(20));
    EXPECT_TRUE(receives(0, NLMSG_ERROR, 0));  // an acknowledgement
    EXPECT_FALSE(receives(NLM_F_DUMP_INTR, NLMSG_DONE, 0));
    EXPECT_EQ(errno, EINTR);
    EXPECT_FALSE(receives(0, NLMSG_ERROR, -EBUSY));
    EXPECT_EQ(errno, EBUSY);
    EXPECT_FALSE(receives(0, NLMSG_ERROR, std::nullopt));  // too short to have a code
    EXPECT_EQ(errno, EPROTO);
    EXPECT_FALSE(receives(0, 0, {}));  // no end
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_THAT(types_, ElementsAre(20));
}

TEST(NetlinkSockets, ReportThatNotificationsWereLostOnceAndReceiveTheRest) {
    const auto test = [] {
        NetlinkSocket socket;
        ASSERT_TRUE(socket.open(NETLINK_ROUTE, RTMGRP_LINK, 1));
        flood();
        const auto ignore = [](const nlmsghdr&) {};
        EXPECT_EQ(socket.receive(SIZE_MAX, ignore), Outcome::Overrun);
        EXPECT_EQ(socket.receive(SIZE_MAX, ignore), Outcome::Empty);
    };
    if (!inOwnNetwork(test)) GTEST_SKIP() << "NOT TESTED: no network namespace can be made";
}

}  // namespace hostd
