// The tables of ip-mib, with the real owners and messages such as the kernel sends.

#include <arpa/inet.h>
#include <linux/if_addr.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>

#include "contracts/inet.h"
#include "contracts/sockets.h"
#include "hostd/inet/inet_addresses.h"
#include "hostd/inet/inet_neighbors.h"
#include "hostd/inet/inet_routes.h"
#include "hostd/inet/ip_statistics.h"
#include "hostd/inet/sockets.h"
#include "tests/hostd/inet/route_messages.h"
#include "tests/hostd/netlink/netlink_message.h"
#include "tests/plugins/plugin_test.h"
#include "tests/tn/temp_root.h"

namespace snmp {
namespace {

using namespace std::chrono_literals;
using hostd::FirstReading;
using hostd::InetAddress;
using Octets6 = std::vector<uint8_t>;

Octets6 octetsOf(const std::string& text) {
    Octets6 octets(text.find(':') == std::string::npos ? 4 : 16);
    EXPECT_EQ(inet_pton(octets.size() == 4 ? AF_INET : AF_INET6, text.c_str(), octets.data()), 1) << text;
    return octets;
}

/// "type.length.octets" of an index.
std::string indexOf(const std::string& text, uint32_t zone = 0) {
    const InetAddress address(octetsOf(text), zone);
    std::string all = std::to_string(static_cast<int>(address.type)) + "." + std::to_string(address.size);
    for (const uint8_t octet : address.octets()) all += "." + std::to_string(octet);
    return all;
}

/// An owner that doesn't list or follow this machine's entries.
template <class Owner>
struct Alone : Owner {
    Alone() : Owner(FirstReading::AtStart) {}
    void loadPermData() override {}
};

class IpMibTest : public PluginTest {
  protected:
    IpMibTest() : PluginTest("ip-mib") {
        agent->addHandler(contracts::inet_addresses::kPath, &addresses);
        agent->addHandler(contracts::inet_prefixes::kPath, &prefixes);
        agent->addHandler(contracts::inet_neighbors::kPath, &neighbors);
        agent->addHandler(contracts::inet_routes::kPath, &routes);
        agent->addHandler(contracts::default_routers::kPath, &routers);
        load();
    }
    void address(uint32_t ifindex, const std::string& local, uint8_t length, uint32_t flags, uint8_t protocol = 0,
                 uint16_t type = RTM_NEWADDR) {
        const Octets6 octets = octetsOf(local);
        const auto family = static_cast<uint8_t>(octets.size() == 4 ? AF_INET : AF_INET6);
        hostd::NetlinkMessage<ifaddrmsg> message(type, {family, length, 0, 0, ifindex});
        message.octets(IFA_ADDRESS, octets).value(IFA_FLAGS, flags).value(11, protocol);
        message.value(IFA_CACHEINFO, ifa_cacheinfo{600, 3600, 111, 222});
        addresses.apply(message.message(), 0ms);
        prefixes.apply(message.message(), 0ms);
    }
    void neighbor(int ifindex, const std::string& text, uint16_t state, uint16_t type = RTM_NEWNEIGH) {
        const Octets6 octets = octetsOf(text);
        const auto family = static_cast<uint8_t>(octets.size() == 4 ? AF_INET : AF_INET6);
        hostd::NetlinkMessage<ndmsg> message(type, {family, 0, 0, ifindex, state, 0, 0});
        message.octets(NDA_DST, octets)
            .octets(NDA_LLADDR, {2, 0, 0, 0, 0, 7})
            .value(NDA_CACHEINFO, nda_cacheinfo{0, 0, 50, 0});
        neighbors.apply(message.message(), 5000ms);
    }
    using Hops = std::vector<std::pair<std::string, uint32_t>>;  // gateways, "" for none, and links
    void route6(const std::string& destination, uint8_t length, const Hops& hops, uint32_t metric = 1024,
                uint16_t type = RTM_NEWROUTE, uint16_t flags = 0) {
        rtmsg about{};
        about.rtm_family = AF_INET6;
        about.rtm_dst_len = length;
        about.rtm_table = RT_TABLE_MAIN;
        about.rtm_type = RTN_UNICAST;
        about.rtm_protocol = RTPROT_STATIC;
        hostd::NetlinkMessage<rtmsg> message(type, about);
        message.raw()->nlmsg_flags = flags;
        if (length > 0) message.octets(RTA_DST, octetsOf(destination));
        message.value(RTA_PRIORITY, metric);
        if (hops.size() == 1) {
            message.value(RTA_OIF, hops[0].second);
            if (!hops[0].first.empty()) message.octets(RTA_GATEWAY, octetsOf(hops[0].first));
        } else {
            Octets6 all;
            for (const auto& [gateway, link] : hops) {
                const uint8_t header[] = {28, 0, 0, 0, static_cast<uint8_t>(link), 0, 0, 0, 20, 0, RTA_GATEWAY, 0};
                all.insert(all.end(), std::begin(header), std::end(header));
                const Octets6 octets = octetsOf(gateway);
                all.insert(all.end(), octets.begin(), octets.end());
            }
            message.octets(RTA_MULTIPATH, all);
        }
        ipv6->apply(message.message());
    }
    std::vector<std::string> indexes(const std::string& column) {
        std::vector<std::string> all;
        for (const wire::Binding& cell : walk(column, 3)) all.push_back(cell.name.substr(column.size() + 1));
        return all;
    }
    Alone<hostd::InetAddresses> addresses;
    Alone<hostd::InetPrefixes> prefixes;
    Alone<hostd::InetNeighbors> neighbors;
    hostd::Routes ipv4;
    std::shared_ptr<hostd::Ipv6Routes> ipv6 = std::make_shared<hostd::Ipv6Routes>(FirstReading::AtStart);
    hostd::InetRoutes routes{ipv4, ipv6};
    hostd::DefaultRouters routers{ipv4, ipv6};
    const std::string ip = "1.3.6.1.2.1.4.";
};

TEST_F(IpMibTest, AddressesOfBothFamiliesPointToTheirNetworks) {
    address(3, "fe80::1", 64, IFA_F_PERMANENT, 3);
    address(2, "fe80::1", 64, IFA_F_TENTATIVE, 3);
    address(2, "2001:db8::5", 61, IFA_F_STABLE_PRIVACY | IFA_F_DEPRECATED, 2);
    address(4, "10.0.0.255", 25, 0);
    address(2, "10.0.0.255", 24, IFA_F_PERMANENT);
    const std::string entry = ip + "34.1.";
    EXPECT_THAT(indexes(entry + "3"), ElementsAre(indexOf("10.0.0.255"), indexOf("2001:db8::5"), indexOf("fe80::1", 2),
                                                  indexOf("fe80::1", 3)));
    EXPECT_EQ(row(entry, {3, 4, 6, 7, 8, 9, 10}, indexOf("10.0.0.255")), "2 1 2 1 111 222 1") << "the lowest interface";
    EXPECT_EQ(row(entry, {3, 6, 7}, indexOf("2001:db8::5")), "2 6 2");
    EXPECT_EQ(row(entry, {3, 6, 7}, indexOf("fe80::1", 2)), "2 5 6");
    EXPECT_EQ(value(entry + "5." + indexOf("2001:db8::5")), ip + "32.1.5.2." + indexOf("2001:db8::") + ".61");
    EXPECT_EQ(value(entry + "3.2.4.10.0.0.255"), "-") << "not an IPv6 address";
    EXPECT_EQ(next({entry + "3.1.4.10"}).bindings[0].name, entry + "3." + indexOf("10.0.0.255"))
        << "an index cut short";

    const std::string prefix = ip + "32.1.";
    EXPECT_THAT(indexes(prefix + "5"),
                ElementsAre("2." + indexOf("10.0.0.0") + ".24", "2." + indexOf("2001:db8::") + ".61",
                            "2." + indexOf("fe80::", 2) + ".64", "3." + indexOf("fe80::", 3) + ".64",
                            "4." + indexOf("10.0.0.128") + ".25"));
    EXPECT_EQ(row(prefix, {5, 6, 7, 8, 9}, "2." + indexOf("2001:db8::") + ".61"), "5 1 1 600 3600");
    EXPECT_EQ(row(prefix, {5, 7}, "4." + indexOf("10.0.0.128") + ".25"), "4 2");
    address(2, "10.0.0.255", 24, IFA_F_PERMANENT, 0, RTM_DELADDR);
    EXPECT_EQ(value(entry + "3." + indexOf("10.0.0.255")), "4");
}

TEST_F(IpMibTest, NeighboursHaveTheirStates) {
    neighbor(2, "fe80::7", NUD_STALE);
    neighbor(2, "10.0.0.7", NUD_PERMANENT);
    neighbor(2, "2001:db8::7", NUD_FAILED);
    neighbor(1, "ff02::1", NUD_NOARP);
    const std::string entry = ip + "35.1.";
    EXPECT_THAT(indexes(entry + "6"),
                ElementsAre("2." + indexOf("10.0.0.7"), "2." + indexOf("2001:db8::7"), "2." + indexOf("fe80::7")));
    EXPECT_EQ(row(entry, {4, 5, 6, 7}, "2." + indexOf("10.0.0.7")), "02 00 00 00 00 07 450 4 1");
    EXPECT_EQ(row(entry, {6, 7}, "2." + indexOf("2001:db8::7")), "2 5");
    neighbor(2, "fe80::7", NUD_STALE, RTM_DELNEIGH);
    EXPECT_EQ(value(entry + "6.2." + indexOf("fe80::7")), "-");
}

TEST_F(IpMibTest, RoutesOfIPv4ComeBeforeThoseOfIPv6) {
    hostd::Route4 ten = hostd::routeTo("10.0.0.0/8", {hostd::via("10.9.9.9", 2)});
    ten.metric = 7;
    ipv4.apply(hostd::messageOf(ten).message());
    ipv4.apply(hostd::messageOf(hostd::routeTo("0.0.0.0/0", {hostd::via("10.9.9.1", 2)})).message());
    route6("::", 0, {{"fe80::98", 2}});
    route6("fe80::", 64, {{"", 2}}, 256);
    route6("fe80::", 64, {{"", 3}}, 256);
    route6("2001:db8::", 32, {{"2001:db8::8", 2}, {"2001:db8::9", 2}});
    const std::string entry = ip + "24.7.1.";
    const std::string viaLink = ".2.0.0.0.0", policy = ".2.0.0.";
    const std::string net = indexOf("2001:db8::") + ".32" + policy;
    const std::vector<std::string> all = {indexOf("0.0.0.0") + ".0" + policy + indexOf("10.9.9.1"),
                                          indexOf("10.0.0.0") + ".8" + policy + indexOf("10.9.9.9"),
                                          indexOf("::") + ".0" + policy + indexOf("fe80::98", 2),
                                          net + indexOf("2001:db8::8"),
                                          net + indexOf("2001:db8::9"),
                                          indexOf("fe80::", 2) + ".64" + viaLink,
                                          indexOf("fe80::", 3) + ".64" + viaLink};
    EXPECT_THAT(indexes(entry + "7"), testing::ElementsAreArray(all));
    for (size_t i = 0; i + 1 < all.size(); ++i)
        EXPECT_EQ(next({entry + "7." + all[i]}).bindings[0].name, entry + "7." + all[i + 1]);
    EXPECT_EQ(row(entry, {7, 8, 9, 12, 17}, all[3]), "2 4 3 1024 1");
    EXPECT_EQ(row(entry, {7, 8, 12}, all[1]), "2 4 7");
    EXPECT_EQ(row(entry, {7, 8, 12}, all[6]), "3 3 256");
    EXPECT_EQ(value(ip + "24.6.0"), "7");
    EXPECT_THAT(indexes(ip + "37.1.4"), ElementsAre(indexOf("10.9.9.1") + ".2", indexOf("fe80::98", 2) + ".2"));

    route6("2001:db8::", 32, {{"2001:db8::8", 2}}, 1024, RTM_DELROUTE);
    EXPECT_EQ(value(entry + "7." + all[3]), "-");
    route6("2001:db8::", 32, {{"2001:db8::a", 3}}, 1024, RTM_NEWROUTE, NLM_F_REPLACE);
    EXPECT_EQ(value(entry + "7." + all[4]), "-") << "replaced";
    EXPECT_EQ(value(entry + "7." + net + indexOf("2001:db8::a")), "3");
    EXPECT_EQ(value(ip + "24.6.0"), "6");
}

TEST_F(IpMibTest, MessagesOfIcmpAreCountedByVersionAndType) {
    tn::TempTree proc;
    proc.write("net/snmp",
               "Icmp: InMsgs InErrors OutMsgs OutErrors\nIcmp: 4294967301 2 3 1\n"
               "IcmpMsg: InType3 InType11 OutType3 OutType0\nIcmpMsg: 6 7 8 9\n");
    proc.write("net/snmp6",
               "Icmp6InMsgs \t21\nIcmp6OutMsgs \t22\nIcmp6OutType133 \t30\nIcmp6InType136 \t31\n"
               "Icmp6InType256 \t1\nIcmp6InTypes \t1\nIcmp6InType1x \t1\n");
    hostd::IpStatistics counters(proc.path());
    hostd::IcmpMessages messages(proc.path());
    agent->addHandler(contracts::ip_statistics::kSystemPath, &counters);
    agent->addHandler(contracts::icmp_messages::kPath, &messages);
    const std::string icmp = "1.3.6.1.2.1.5.";
    EXPECT_EQ(row(icmp + "29.1.", {2, 3, 4, 5}, "1"), "5 2 3 1") << "Counter32";
    EXPECT_EQ(row(icmp + "29.1.", {2, 3, 4, 5}, "2"), "21 0 22 0");
    EXPECT_THAT(indexes(icmp + "30.1.3"), ElementsAre("1.0", "1.3", "1.11", "2.133", "2.136"));
    EXPECT_EQ(row(icmp + "30.1.", {3, 4}, "1.3"), "6 8");
    EXPECT_EQ(row(icmp + "30.1.", {3, 4}, "2.133"), "0 30");
    EXPECT_EQ(value(icmp + "30.1.3.2.134"), "-");
    EXPECT_EQ(next({icmp + "30.1.3.1.200"}).bindings[0].name, icmp + "30.1.3.2.133");
}

}  // namespace
}  // namespace snmp
