#include "tn/address.h"

#include <gtest/gtest.h>

#include <array>

namespace tn {
namespace {

IPAddr6 address(std::string_view text) { return IPAddr6::parse(text).value(); }
IPPrefix6 prefix(std::string_view text) { return IPPrefix6::parse(text).value(); }

TEST(Address, TextComesBackInItsShortestFormWithTheFirstOctetMostSignificant) {
    for (const char* text : {"192.0.2.1", "::ffff:192.0.2.1"}) EXPECT_EQ(address(text).str(), "192.0.2.1");
    EXPECT_EQ(address("192.0.2.1").getIPv4(), 0xc0000201U);
    EXPECT_EQ(IPAddr6::ofIPv4(0xc0000201).str(), "192.0.2.1");
    EXPECT_EQ(address("2001:DB8:0:0::1").str(), "2001:db8::1");
    EXPECT_EQ(IPAddr6().str(), "::");
    for (const std::string_view bad : {"", "1.2.3", "1.2.3.256", "1.2.3.4 ", ":::", "fe80::1%eth0", "host"})
        EXPECT_FALSE(IPAddr6::parse(bad)) << bad;
    EXPECT_FALSE(IPAddr6::parse(std::string_view("1.2.3.4\0x", 9)));
    EXPECT_TRUE(IPAddr6::ofIPv4(0).isIPv4());
    EXPECT_FALSE(IPAddr6::ofIPv4(0).empty());
    EXPECT_FALSE(address("::1").isIPv4());
}

TEST(Prefix, HoldsExactlyItsBits) {
    const std::array<const char*, 3> cases[] = {
        {"192.0.2.0/25", "192.0.2.127", "192.0.2.128"},
        {"192.0.2.77/24", "192.0.2.1", "192.0.3.77"},  // host bits don't count
        {"10.0.7.0/255.0.255.0", "10.99.7.1", "10.99.8.1"},
        {"192.0.2.1", "192.0.2.1", "192.0.2.0"},
        {"2001:db8::/33", "2001:db8:7fff::1", "2001:db8:8000::"},
        {"::1/128", "::1", "::"},
        {"0.0.0.0/0", "203.0.113.9", "::1"},
    };
    for (const auto& [all, inside, outside] : cases) {
        EXPECT_TRUE(prefix(all).has(address(inside))) << all;
        EXPECT_FALSE(prefix(all).has(address(outside))) << all;
    }
    for (const char* any : {"203.0.113.9", "2001:db8::1"}) EXPECT_TRUE(prefix("::/0").has(address(any))) << any;
    EXPECT_EQ(IPPrefix6(), prefix("::/0"));
    EXPECT_EQ(IPPrefix6::ofIPv4(0, 0), prefix("0.0.0.0/0"));
    EXPECT_EQ(IPPrefix6::ofIPv6(address("::1"), 4000), prefix("::1/128"));
}

TEST(Prefix, TextComesBack) {
    for (const char* text : {"192.0.2.0/24", "0.0.0.0/0", "10.0.7.0/255.0.255.0", "2001:db8::/32", "::/0", "::1/128",
                             "::ffff:1.2.3.4/64"}) {
        EXPECT_EQ(prefix(text).str(), text);
        EXPECT_EQ(prefix(prefix(text).str()), prefix(text));
    }
    EXPECT_EQ(prefix("192.0.2.0/255.255.255.0").str(), "192.0.2.0/24");
    EXPECT_EQ(prefix("192.0.2.0/24").mask4(), 0xffffff00U);
    EXPECT_TRUE(prefix("::ffff:0:0/96").isIPv4());
    EXPECT_FALSE(prefix("::ffff:1.2.3.4/64").isIPv4()) << "although its address is a mapped one";
    EXPECT_EQ(prefix("192.0.2.0/24").length(), 120U);
}

TEST(Prefix, RefusesWhatIsNone) {
    for (const std::string_view bad :
         {"", "/", "/24", "1.2.3.4/", "1.2.3.4/33", "1.2.3.4/-1", "1.2.3.4/+8", "1.2.3.4/ 8", "1.2.3.4/8x",
          "1.2.3.4/::", "::/129", "::/255.0.0.0", "::/99999999999", "a/8", "1.2.3.4/8/8"}) {
        EXPECT_FALSE(IPPrefix6::parse(bad)) << bad;
    }
}

}  // namespace
}  // namespace tn
