// The counters of protocols and of the agent, and the sockets, from texts and messages such as the kernel's.

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/sock_diag.h>

#include "agent/status/statistics.h"
#include "contracts/ip_counters.h"
#include "contracts/sockets.h"
#include "hostd/inet/ip_counters.h"
#include "hostd/inet/sockets.h"
#include "tests/hostd/netlink/netlink_message.h"
#include "tests/plugins/plugin_test.h"
#include "tests/tn/temp_root.h"

namespace snmp {
namespace {

using hostd::Socket;

/// A socket's message; addresses as text, ports and inode as numbers.
std::optional<Socket> socketOf(uint8_t family, uint8_t state, const char* local, uint16_t port, const char* remote,
                               uint16_t remotePort, uint32_t inode, std::optional<uint8_t> isOnlyV6 = {}) {
    inet_diag_msg about{};
    about.idiag_family = family;
    about.idiag_state = state;
    about.id.idiag_sport = htons(port);
    about.id.idiag_dport = htons(remotePort);
    about.id.idiag_if = 3;
    about.idiag_inode = inode;
    EXPECT_EQ(inet_pton(family, local, about.id.idiag_src), 1);
    EXPECT_EQ(inet_pton(family, remote, about.id.idiag_dst), 1);
    hostd::NetlinkMessage<inet_diag_msg> message(SOCK_DIAG_BY_FAMILY, about);
    if (isOnlyV6) message.value(INET_DIAG_SKV6ONLY, *isOnlyV6);
    return hostd::readSocket(message.message());
}

class Mib2Test : public PluginTest {
  protected:
    Mib2Test() : PluginTest("mib2") {}
    /// The names of the cells of a column, without its OID.
    std::vector<std::string> indexes(const std::string& column) {
        std::vector<std::string> all;
        for (const wire::Binding& cell : walk(column, 2)) all.push_back(cell.name.substr(column.size() + 1));
        return all;
    }
    const std::string mib2 = "1.3.6.1.2.1.";
};

TEST_F(Mib2Test, CountersAreFoundByTheKernelsNamesAndUdpIncludesIPv6) {
    tn::TempTree proc;
    proc.write("net/snmp",
               "Ip: Forwarding DefaultTTL InReceives\nIp: 1 64 4294967297\n"
               "Icmp: InMsgs InErrors InCsumErrors InDestUnreachs\nIcmp: 1 2 3 4\n"
               "Tcp: RtoAlgorithm RtoMin RtoMax MaxConn\nTcp: 1 200 120000 -1\n"
               "Lost: A\nUdp: InDatagrams NoPorts\nUdp: 10 x\n");
    proc.write("net/snmp6", "Udp6InDatagrams                 \t5\nbad\n");
    proc.write("sys/net/ipv4/ipfrag_time", "30\n");
    hostd::IpCounters owner(proc.path());
    agent->addHandler(contracts::ip_counters::kPath, &owner);
    load();
    EXPECT_EQ(values({mib2 + "4.1.0", mib2 + "4.2.0", mib2 + "4.3.0", mib2 + "4.13.0"}), "1 64 1 30") << "Counter32";
    EXPECT_EQ(values({mib2 + "5.3.0", mib2 + "6.4.0", mib2 + "7.1.0", mib2 + "7.2.0"}), "4 -1 15 0");
}

TEST_F(Mib2Test, SocketsOfIPv4AreShownWithTheirStates) {
    std::vector<Socket> tcp, udp;
    for (const auto& one :
         {socketOf(AF_INET, 10, "127.0.0.1", 22, "0.0.0.0", 0, 7),
          socketOf(AF_INET6, 1, "::ffff:10.0.0.1", 22, "::ffff:10.0.0.2", 1025, 8),
          socketOf(AF_INET6, 10, "::", 80, "::", 0, 9, 0), socketOf(AF_INET6, 10, "::", 81, "::", 0, 9, 1),
          socketOf(AF_INET6, 6, "fe80::1", 22, "fe80::2", 1026, 0)})
        tcp.push_back(one.value());
    EXPECT_EQ(tcp.back().local.octets().size(), 20) << "with its zone";
    for (const uint32_t inode : {5U, 6U}) udp.push_back(*socketOf(AF_INET, 7, "10.0.0.1", 53, "0.0.0.0", 0, inode));
    const auto processOf = [](uint32_t inode) { return inode * 100; };
    auto source = std::make_shared<hostd::SocketWatch>(
        "sockets", [=] { return std::optional(hostd::makeSocketRows(tcp, udp, processOf)); }, std::chrono::hours(1));
    const auto tcpOwner = hostd::makeTcpIPv4(source);
    const auto udpOwner = hostd::makeUdpIPv4(source);
    agent->addHandler(contracts::sockets::kTcpIPv4Path, tcpOwner.get());
    agent->addHandler(contracts::sockets::kUdpIPv4Path, udpOwner.get());
    load();
    const std::string state = mib2 + "6.13.1.1";
    EXPECT_THAT(indexes(state),
                ElementsAre("0.0.0.0.80.0.0.0.0.0", "10.0.0.1.22.10.0.0.2.1025", "127.0.0.1.22.0.0.0.0.0"));
    EXPECT_EQ(values({state + ".0.0.0.0.80.0.0.0.0.0", state + ".10.0.0.1.22.10.0.0.2.1025"}), "2 5");
    EXPECT_THAT(indexes(mib2 + "7.5.1.2"), ElementsAre("10.0.0.1.53"));
    EXPECT_EQ(udpOwner->getObjectCount(), 1U) << "two sockets, one row";
}

TEST_F(Mib2Test, TheSnmpGroupCountsWhatTheAgentDid) {
    load();
    const std::string group = mib2 + "11.";
    const auto counts = [&](const std::vector<int>& numbers) {
        std::vector<std::string> names;
        for (const int number : numbers) names.push_back(group + std::to_string(number) + ".0");
        std::vector<int> all;
        for (const wire::Binding& one : get(names).bindings) all.push_back(std::stoi(one.value));
        return all;
    };
    const std::vector<int> numbers = {1, 2, 3, 4, 5, 6, 13, 14, 15, 17, 21, 28};
    const std::vector<int> before = counts(numbers);
    addEntry("reader", "127.0.0.0/8");
    EXPECT_TRUE(
        ask({.version = 1, .community = "reader", .pdu = pdu::SetRequest, .bindings = {number(mib2 + "1.8.0", 5)}}));
    EXPECT_FALSE(ask({.version = 1, .community = "nobody", .pdu = pdu::GetRequest, .bindings = {null(group + "1.0")}}));
    EXPECT_EQ(get({"1.3.9.9"}, 0).errorStatus, 2);
    EXPECT_EQ(set({number(mib2 + "1.8.0", 5)}).errorStatus, 0);
    EXPECT_FALSE(askBytes({0x30, 0x03, 0x02, 0x01, 0x01}));
    EXPECT_FALSE(askBytes({0x30, 0x03, 0x02, 0x01, 0x09}));
    const std::vector<int> after = counts(numbers);
    std::vector<int> change;
    for (size_t i = 0; i < numbers.size(); ++i) change.push_back(after[i] - before[i]);
    //                                  in out ver name use asn  req set get  set same responses
    EXPECT_THAT(change, ElementsAre(7, 4, 1, 1, 1, 1, 12, 1, 2, 2, 1, 4));
}

TEST_F(Mib2Test, TheEngineIsShownOnceItHasAnId) {
    load();
    const std::string engine = "1.3.6.1.6.3.10.2.1.";
    EXPECT_EQ(get({engine + "1.0"}).errorStatus, 2);
    AgentTest::change({{setting::EngineId, "here"}});
    agent->v3Server().engineBoots = 4;
    sources.uptime += 9;
    EXPECT_THAT(get({engine + "1.0"}).bindings[0].value, HasSubstr("here"));
    EXPECT_EQ(values({engine + "2.0", engine + "3.0", engine + "4.0"}), "4 9 65507");
    EXPECT_EQ(values({"1.3.6.1.6.3.11.2.1.3.0", "1.3.6.1.6.3.12.1.5.0"}), "0 0");
}

TEST_F(Mib2Test, ModulesAreThoseThatAreServedAndPluginsThoseInUse) {
    statistics.setPlugin("/x/shelf.so", "", {"1.3.6.1.4.1.32473.4"});
    statistics.setPlugin("/x/broken.so", "refused");
    load();
    std::map<std::string, std::string> rows;  // text by OID
    const std::vector<std::string> all = indexes(mib2 + "1.9.1.2");
    for (const std::string& index : all) rows[value(mib2 + "1.9.1.2." + index)] = value(mib2 + "1.9.1.3." + index);
    EXPECT_EQ(rows["1.3.6.1.6.3.11"], "SNMP-MPD-MIB (RFC 3412)");
    EXPECT_EQ(rows["1.3.6.1.4.1.32473.4"], "plug-in shelf");
    EXPECT_EQ(rows.size(), all.size());
    EXPECT_FALSE(rows.contains("1.0.8802.1.1.2"));
    EXPECT_EQ(value(mib2 + "1.9.1.4.1"), "100000");
    statistics.plugins.clear();
}

}  // namespace
}  // namespace snmp
