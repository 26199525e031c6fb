#include "hostd/links/link_switch.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tests/hostd/netlink/own_network.h"

namespace hostd {

TEST(LinkSwitch, ChangesTheLinkOrReturnsWhyNot) {
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
