// A packet of netlink messages about addresses, neighbours, forwarding entries, queues and bridges: whatever it
// contains, the tables stay in order and their counts correct.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "contracts/addresses.h"
#include "contracts/bridge.h"
#include "contracts/inet.h"
#include "hostd/inet/addresses.h"
#include "hostd/inet/arp_entries.h"
#include "hostd/inet/forwarding.h"
#include "hostd/inet/inet_addresses.h"
#include "hostd/inet/inet_neighbors.h"
#include "hostd/inet/inet_routes.h"
#include "hostd/inet/sockets.h"
#include "hostd/links/bridge_reader.h"
#include "hostd/links/qdisc.h"

namespace {

namespace field = tn::field;

void require(bool condition) {
    if (!condition) std::abort();
}

/// Walks a table by its keys, two rows at a time: each row is after the one before, and there are as many as counted.
void walk(tn::Handler& table, const std::vector<hostd::KeyField>& keyFields) {
    tn::message request;
    request.insert_u32(field::Command, tn::cmd::GetAll);
    request.insert_u32(field::MaxObjects, 2);
    uint32_t rows = 0;
    std::vector<uint8_t> last;
    for (;;) {
        const tn::message reply = table.handle(request);
        const auto& items = reply.get_message_array(field::Objects);
        const size_t known = last.empty() ? 0 : 1;
        if (items.size() <= known) break;
        tn::message key;
        std::vector<uint8_t> octets;
        for (const hostd::KeyField& part : keyFields) {
            std::vector<uint8_t> place(part.width());
            require(part.isIn(items[known]) && part.read(items[known], place));
            part.write(place, key);
            octets.insert(octets.end(), place.begin(), place.end());
        }
        require(last.empty() || last < octets);
        last = octets;
        ++rows;
        request.insert_message(field::Key, std::move(key));
    }
    require(rows == table.getObjectCount());
}

void checkQueues(const std::vector<hostd::Qdisc>& qdiscs) {
    const auto nameOf = [](uint32_t ifindex) { return ifindex % 3 == 0 ? "" : "eth" + std::to_string(ifindex % 5); };
    const hostd::QueueRows rows = hostd::makeQueueRows(qdiscs, qdiscs, nameOf);
    for (const auto& [id, one] : rows.classes) {
        require(id >= 1 && id <= INT32_MAX && !one.parent.empty());
        const auto parent = rows.classes.find(one.parentId);
        require(one.parentId == 0 || (parent != rows.classes.end() && parent->second.name == one.parent));
    }
    for (const auto& [ifindex, queue] : rows.interfaces)
        require(ifindex != 0 && !queue.interface.empty() && (queue.sent || queue.received));
}

void checkBridge(const hostd::Bridge& bridge) {
    const auto vlanAndMac = [](const hostd::BridgeHost& host) { return std::pair(host.vlan, host.mac); };
    require(std::ranges::is_sorted(bridge.byMac, {}, &hostd::BridgeHost::mac));
    require(std::ranges::is_sorted(bridge.byVlan, {}, vlanAndMac));
    for (const auto& [id, vlan] : bridge.vlans)
        require(id >= 1 && id <= 4094 && vlan.egress.size() == vlan.untagged.size() && vlan.egress.size() <= 128);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint32_t> packet(size / 4 + 1);  // aligned like the kernel's
    if (size > 0) std::memcpy(packet.data(), data, size);
    hostd::Addresses addresses;
    hostd::ArpEntries arpEntries;
    hostd::Forwarding forwarding;
    hostd::InetAddresses inetAddresses(hostd::FirstReading::AtStart);
    hostd::InetPrefixes prefixes(hostd::FirstReading::AtStart);
    hostd::InetNeighbors neighbors(hostd::FirstReading::AtStart);
    const auto ipv6Routes = std::make_shared<hostd::Ipv6Routes>(hostd::FirstReading::AtStart);
    std::vector<hostd::Socket> sockets;
    std::vector<hostd::Qdisc> qdiscs;
    hostd::BridgeParser bridge;
    hostd::forEachMessage({reinterpret_cast<const uint8_t*>(packet.data()), size}, [&](const nlmsghdr& message) {
        for (hostd::FollowedTable* table : std::initializer_list<hostd::FollowedTable*>{
                 &addresses, &arpEntries, &forwarding, &inetAddresses, &prefixes, &neighbors}) {
            if (message.nlmsg_type == NLMSG_NOOP) table->beginListing();
            if (message.nlmsg_type == NLMSG_DONE) table->endListing(message.nlmsg_flags % 2 == 0);
            table->apply(message, std::chrono::milliseconds(1));
        }
        ipv6Routes->apply(message);
        if (const auto socket = hostd::readSocket(message)) sockets.push_back(*socket);
        if (const auto qdisc = hostd::readQdisc(message)) qdiscs.push_back(*qdisc);
        bridge.addBridge(message);
        bridge.addPort(message);
        bridge.addVlans(message);
        bridge.addHost(message);
    });
    walk(addresses, {contracts::addresses::Address});
    walk(arpEntries, {contracts::arp::Interface, contracts::arp::Address});
    walk(forwarding, {contracts::bridge::Bridge, {contracts::bridge::Mac, 6}});
    const auto octets = [](tn::raw_id id) { return hostd::KeyField::variable(id, hostd::InetAddress::kMaxOctets); };
    walk(inetAddresses, {contracts::inet_addresses::Type, octets(contracts::inet_addresses::Address)});
    walk(prefixes, {contracts::inet_prefixes::Interface, contracts::inet_prefixes::Type,
                    octets(contracts::inet_prefixes::Network), contracts::inet_prefixes::Length});
    walk(neighbors, {contracts::inet_neighbors::Interface, contracts::inet_neighbors::Type,
                     octets(contracts::inet_neighbors::Address)});
    hostd::Routes ipv4Routes;
    hostd::InetRoutes routes(ipv4Routes, ipv6Routes);
    walk(routes,
         {contracts::inet_routes::Type, octets(contracts::inet_routes::Destination), contracts::inet_routes::Length,
          contracts::inet_routes::GatewayType, octets(contracts::inet_routes::Gateway)});
    const hostd::SocketRows rows = hostd::makeSocketRows(sockets, sockets, [](uint32_t inode) { return inode; });
    require(rows.connections.size() + rows.listeners.size() <= sockets.size() && rows.udpIPv4.size() <= sockets.size());
    checkQueues(qdiscs);
    checkBridge(bridge.finish());
    return 0;
}
