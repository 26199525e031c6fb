// Addresses, ARP entries and forwarding entries, from messages such as the kernel sends.

#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "contracts/addresses.h"
#include "contracts/bridge.h"
#include "hostd/inet/addresses.h"
#include "hostd/inet/arp_entries.h"
#include "hostd/inet/forwarding.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/netlink/netlink_message.h"

namespace hostd {

namespace addresses = contracts::addresses;
namespace arp = contracts::arp;
namespace bridge = contracts::bridge;

namespace {

namespace field = tn::field;
using Octets = std::vector<uint8_t>;
using AddressMessage = NetlinkMessage<ifaddrmsg>;
using NeighbourMessage = NetlinkMessage<ndmsg>;

/// @param peer  last octet of the peer's address; that of the local one by default
AddressMessage addressMessage(uint32_t ifindex, const Octets& local, uint8_t prefix, uint16_t type = RTM_NEWADDR,
                              std::optional<uint8_t> peer = {}) {
    AddressMessage message(type, {AF_INET, prefix, 0, 0, ifindex});
    Octets other = local;
    if (peer) other.back() = *peer;
    message.octets(IFA_LOCAL, local).octets(IFA_ADDRESS, other);
    return message;
}

NeighbourMessage arpMessage(int ifindex, const Octets& address, uint16_t state, uint16_t type = RTM_NEWNEIGH) {
    NeighbourMessage message(type, {AF_INET, 0, 0, ifindex, state, 0, 0});
    message.octets(NDA_DST, address);
    return message;
}

NeighbourMessage forwardingMessage(uint32_t bridge, int port, uint8_t lastOfMac, uint16_t vlan = 0,
                                   uint16_t type = RTM_NEWNEIGH) {
    NeighbourMessage message(type, {AF_BRIDGE, 0, 0, port, NUD_REACHABLE, 0, 0});
    message.octets(NDA_LLADDR, {2, 0, 0, 0, 0, lastOfMac}).value(NDA_MASTER, bridge);
    if (vlan != 0) message.value(NDA_VLAN, vlan);
    return message;
}

std::string describe(const Addresses&, const tn::message& row) {
    return dotted(row.get_be32(addresses::Address)) + " " + dotted(row.get_be32(addresses::Mask)) + " on " +
           std::to_string(row.get_u32(addresses::Interface));
}
std::string describe(const ArpEntries&, const tn::message& row) {
    const char* state = row.get_bool(field::Invalid) ? "invalid" : row.get_bool(arp::Dynamic) ? "dynamic" : "static";
    return std::to_string(row.get_u32(arp::Interface)) + " " + dotted(row.get_be32(arp::Address)) + " " + state + " " +
           std::to_string(row.get_raw(arp::LinkAddress).size());
}
std::string describe(const Forwarding&, const tn::message& row) {
    return std::to_string(row.get_u32(bridge::Bridge)) + " :" + std::to_string(row.get_raw(bridge::Mac).back()) +
           " port " + std::to_string(row.get_u32(bridge::Port));
}

/// A table, queried in process.
template <class Table>
class KernelTableTest : public ::testing::Test {
  protected:
    template <class... Messages>
    void takes(const Messages&... messages) {
        (table.apply(messages.message(), std::chrono::milliseconds(1000)), ...);
    }
    /// Each row in short; as many as get-count says.
    std::vector<std::string> rows() {
        std::vector<std::string> all;
        for (const tn::message& row : rowsOf(table)) all.push_back(describe(table, row));
        EXPECT_EQ(table.getObjectCount(), all.size());
        return all;
    }
    Table table;
};
using AddressesTest = KernelTableTest<Addresses>;
using ArpEntriesTest = KernelTableTest<ArpEntries>;
using ForwardingTest = KernelTableTest<Forwarding>;

}  // namespace

TEST_F(AddressesTest, AnAddressOnSeveralInterfacesIsOneRowUntilTheLastHasGone) {
    takes(addressMessage(9, {10, 0, 0, 1}, 24));
    for (const uint8_t prefix : Octets{24, 16, 16}) takes(addressMessage(5, {10, 0, 0, 1}, prefix));
    takes(addressMessage(3, {10, 0, 0, 2}, 24));
    EXPECT_THAT(rows(), ElementsAre("10.0.0.1 255.255.0.0 on 5", "10.0.0.2 255.255.255.0 on 3"));
    for (const uint8_t prefix : Octets{16, 24}) takes(addressMessage(5, {10, 0, 0, 1}, prefix, RTM_DELADDR));
    EXPECT_THAT(rows(), ElementsAre("10.0.0.1 255.255.255.0 on 9", "10.0.0.2 255.255.255.0 on 3"));
    for (int times = 0; times < 2; ++times) takes(addressMessage(9, {10, 0, 0, 1}, 24, RTM_DELADDR));
    EXPECT_THAT(rows(), ElementsAre("10.0.0.2 255.255.255.0 on 3"));
    // A point-to-point address stays until its last peer has gone.
    for (const uint8_t peer : Octets{2, 3, 3}) takes(addressMessage(3, {10, 0, 0, 2}, 32, RTM_NEWADDR, peer));
    takes(addressMessage(3, {10, 0, 0, 2}, 24, RTM_DELADDR));
    takes(addressMessage(3, {10, 0, 0, 2}, 32, RTM_DELADDR, 2));
    EXPECT_THAT(rows(), ElementsAre("10.0.0.2 255.255.255.255 on 3"));
}

TEST_F(AddressesTest, OnlyAWholeListingRemovesRows) {
    takes(addressMessage(1, {10, 0, 0, 1}, 8), addressMessage(1, {10, 0, 0, 2}, 8));
    table.beginListing();
    takes(addressMessage(1, {10, 0, 0, 3}, 8));
    table.endListing(false);
    EXPECT_THAT(rows(), ElementsAre("10.0.0.1 255.0.0.0 on 1", "10.0.0.2 255.0.0.0 on 1"));
    table.beginListing();
    takes(addressMessage(1, {10, 0, 0, 2}, 8), addressMessage(2, {10, 0, 0, 2}, 8),
          addressMessage(1, {10, 0, 0, 4}, 8));
    table.endListing(true);
    EXPECT_THAT(rows(), ElementsAre("10.0.0.2 255.0.0.0 on 1", "10.0.0.4 255.0.0.0 on 1"));
    takes(addressMessage(1, {10, 0, 0, 2}, 8, RTM_DELADDR));
    EXPECT_THAT(rows(), ElementsAre("10.0.0.2 255.0.0.0 on 2", "10.0.0.4 255.0.0.0 on 1"));
}

TEST_F(ArpEntriesTest, ARowGoesWhenItsAddressNeedsNoArpAnyMore) {
    takes(arpMessage(3, {10, 0, 0, 1}, NUD_STALE), arpMessage(3, {10, 0, 0, 2}, NUD_INCOMPLETE));
    EXPECT_THAT(rows(), ElementsAre("3 10.0.0.1 dynamic 0", "3 10.0.0.2 invalid 0"));
    takes(arpMessage(3, {10, 0, 0, 1}, NUD_NOARP), arpMessage(3, {10, 0, 0, 2}, NUD_NONE));
    EXPECT_THAT(rows(), IsEmpty());
}

TEST_F(ArpEntriesTest, ProxiesOtherFamiliesAndOddAddressesMakeNoRows) {
    takes(
        NeighbourMessage(RTM_NEWNEIGH, {AF_INET, 0, 0, 3, NUD_PERMANENT, NTF_PROXY, 0}).octets(NDA_DST, {10, 0, 0, 1}),
        NeighbourMessage(RTM_NEWNEIGH, {AF_INET6, 0, 0, 3, NUD_REACHABLE, 0, 0}).octets(NDA_DST, Octets(16, 1)),
        forwardingMessage(1, 2, 3), arpMessage(3, {10, 0, 0}, NUD_REACHABLE));
    EXPECT_THAT(rows(), IsEmpty());
    takes(arpMessage(3, {10, 0, 0, 1}, NUD_REACHABLE).octets(NDA_LLADDR, Octets(32, 7)),
          arpMessage(3, {10, 0, 0, 2}, NUD_REACHABLE).octets(NDA_LLADDR, Octets(33, 7)));
    EXPECT_THAT(rows(), ElementsAre("3 10.0.0.1 dynamic 32", "3 10.0.0.2 dynamic 0"));
}

TEST_F(ForwardingTest, AnAddressInSeveralVlansIsOneRow) {
    takes(forwardingMessage(4, 7, 1, 30), forwardingMessage(4, 8, 1, 2), forwardingMessage(4, 9, 2, 5));
    EXPECT_THAT(rows(), ElementsAre("4 :1 port 8", "4 :2 port 9"));
    takes(forwardingMessage(4, 6, 1));
    EXPECT_THAT(rows(), ElementsAre("4 :1 port 6", "4 :2 port 9"));
    takes(forwardingMessage(4, 6, 1, 0, RTM_DELNEIGH), forwardingMessage(4, 8, 1, 2, RTM_DELNEIGH));
    EXPECT_THAT(rows(), ElementsAre("4 :1 port 7", "4 :2 port 9"));
}

}  // namespace hostd
