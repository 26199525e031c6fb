// A netlink socket that gets another one's messages, and a follower whose messages are lost.

#include "hostd/netlink/netlink.h"

#include <gmock/gmock.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "hostd/inet/route_monitor.h"
#include "hostd/links/interfaces.h"
#include "hostd/netlink/netlink_follower.h"
#include "tests/hostd/hand_clock.h"

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
    Outcome takes(size_t packets) {
        types_.clear();
        return socket_->take(packets, [this](const nlmsghdr& message) { types_.push_back(message.nlmsg_type); });
    }

    const std::unique_ptr<NetlinkSocket> other_{opened(new NetlinkSocket, NETLINK_USERSOCK)};
    const std::unique_ptr<NetlinkSocket> socket_{
        opened(new NetlinkSocket(addressOf(*other_).nl_pid), NETLINK_USERSOCK)};
    std::vector<uint16_t> types_;
};

/// Runs this in a separate network namespace. False when that isn't possible.
bool inOwnNetwork(const std::function<void()>& test) {
    bool isMade = false;
    std::thread([&] {
        isMade = ::unshare(CLONE_NEWNET) == 0;
        if (isMade) test();
    }).join();
    return isMade;
}

/// Causes more notifications of a link's changes than fit into a follower's socket, 32 MiB.
void flood() {
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    for (int i = 0; i < 20000; ++i) {
        request.ifr_mtu = 1500 + i % 2;
        ASSERT_EQ(::ioctl(socket, SIOCSIFMTU, &request), 0);
    }
    ::close(socket);
}

struct CountedListings : FollowedTable {
    void take(const nlmsghdr&, uint64_t) override {}
    void beginListing() override { ++count; }
    void endListing(bool isWhole) override { EXPECT_TRUE(isWhole); }
    int count = 0;
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

TEST_F(NetlinkSocketTest, MessagesOfStrangersAndLateAnswersArePassedOver) {
    const std::unique_ptr<NetlinkSocket> stranger(opened(new NetlinkSocket, NETLINK_USERSOCK));
    sends(*stranger, {{20, 16}}, 0);
    sends({{21, 16}}, 77);  // nothing was requested: the number is that of the process that caused it
    EXPECT_EQ(takes(9), Outcome::Empty);
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
    EXPECT_FALSE(kernel.takeAnswer([this](const nlmsghdr& message) { types_.push_back(message.nlmsg_type); }));
    EXPECT_EQ(errno, ENODEV);
    EXPECT_THAT(types_, ElementsAre(21));
}

TEST(NetlinkFollowers, ListAnewAtMostOnceASecondHoweverOftenNotificationsAreLost) {
    HandClock clock;
    const auto test = [&] {
        CountedListings links;
        const auto request = [](NetlinkRequests& requests) {
            requests.add<ifinfomsg>(RTM_GETLINK, NLM_F_DUMP);
            requests.finish();
        };
        NetlinkFollower follower({"links", RTMGRP_LINK, request}, links);
        RouteTable table;
        RouteMonitor routes(table);
        const auto worksOff = [&] {
            routes.drain(clock.milliseconds, SIZE_MAX);
            while (routes.due() <= clock.milliseconds) routes.work(clock.milliseconds);
        };
        follower.start();
        ASSERT_TRUE(routes.open(clock.milliseconds));
        worksOff();
        ASSERT_EQ(routes.due(), RouteMonitor::kNever);
        const int atFirst = links.count;
        const uint64_t due = clock.milliseconds + 1000;
        for (; clock.milliseconds < due; clock.milliseconds += 500) {
            flood();
            EXPECT_FALSE(follower.catchUp());
            worksOff();
            EXPECT_EQ(routes.due(), due);
            EXPECT_EQ(links.count, atFirst);
        }
        EXPECT_TRUE(follower.catchUp());
        EXPECT_EQ(links.count, atFirst + 1);
    };
    if (!inOwnNetwork(test)) GTEST_SKIP() << "NOT TESTED: no network namespace can be made";
}

TEST(LinkSwitch, SwitchesTheLinkItself) {
    const auto isUp = [] {
        const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        ifreq request{};
        std::strcpy(request.ifr_name, "lo");
        EXPECT_EQ(::ioctl(socket, SIOCGIFFLAGS, &request), 0);
        ::close(socket);
        return (request.ifr_flags & IFF_UP) != 0;
    };
    const auto test = [&] {
        EXPECT_EQ(switchLink(1, true), "");
        EXPECT_TRUE(isUp());
        EXPECT_EQ(switchLink(1, false), "");
        EXPECT_FALSE(isUp());
        EXPECT_EQ(switchLink(99, true), std::strerror(ENODEV));
    };
    if (!inOwnNetwork(test)) GTEST_SKIP() << "NOT TESTED: no network namespace can be made";
}

}  // namespace hostd
