#include "hostd/links/link_switch.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "tests/hostd/netlink/own_network.h"

namespace hostd {

TEST(LinkSwitch, ReturnsWhyALinkIsNotChanged) {
    const auto test = [&] {
        EXPECT_EQ(switchLink(1, true), "");
        EXPECT_EQ(switchLink(1, false), "");
        EXPECT_EQ(switchLink(99, true), std::strerror(ENODEV));
    };
    if (!inOwnNetwork(test)) GTEST_SKIP() << "NOT TESTED: no network namespace can be made";
}

}  // namespace hostd
