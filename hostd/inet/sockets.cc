#include "hostd/inet/sockets.h"

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/sock_diag.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "contracts/sockets.h"
#include "hostd/inet/socket_processes.h"
#include "hostd/netlink/netlink.h"

namespace hostd {

namespace sockets = contracts::sockets;

namespace {

using Type = InetAddress::Type;

constexpr std::chrono::milliseconds kListingAge{2000};
constexpr uint8_t kListen = 2;  // tcpConnState
/// All that the kernel reports by default; it also has bound sockets, which aren't in the tables.
constexpr uint32_t kStates = (1U << (TCP_CLOSING + 2)) - 2;

/// tcpConnState by the kernel's state, TCP_ESTABLISHED and so on. The last one is a connection request.
constexpr uint8_t kConnStates[] = {1, 5, 3, 4, 6, 7, 11, 1, 8, 9, kListen, 10, 4};

bool isAny(std::span<const uint8_t> address) {
    return std::ranges::all_of(address, [](uint8_t octet) { return octet == 0; });
}

InetAddress addressOf(const inet_diag_msg& about, const uint32_t (&words)[4]) {
    const std::span octets(reinterpret_cast<const uint8_t*>(words), sizeof words);
    if (about.idiag_family == AF_INET) return InetAddress(octets.first(4));
    tn::IPAddr6 address;
    std::ranges::copy(octets, address.octets().begin());
    return address.isIPv4() ? InetAddress(octets.last(4)) : InetAddress(octets, about.id.idiag_if);
}

/// The octets of an address as IPv4; nothing for one of IPv6. An unknown address is 0.0.0.0.
std::optional<uint32_t> ipv4Of(const InetAddress& address) {
    if (address.type == Type::Unknown) return 0;
    if (address.type != Type::IPv4) return {};
    uint32_t value = 0;
    for (const uint8_t octet : address.octets()) value = value << 8 | octet;
    return value;
}

/// Lists the sockets of a protocol; false, errno set, when the kernel refuses. A family or protocol that it doesn't
/// have has no sockets.
bool list(NetlinkSocket& socket, uint8_t family, uint8_t protocol, std::vector<Socket>& all) {
    NetlinkRequests requests;
    auto& request = requests.add<inet_diag_req_v2>(SOCK_DIAG_BY_FAMILY, NLM_F_DUMP);
    request.sdiag_family = family;
    request.sdiag_protocol = protocol;
    request.idiag_states = kStates;
    requests.finish();
    const auto add = [&all](const nlmsghdr& message) {
        if (const auto one = readSocket(message)) all.push_back(*one);
    };
    return socket.send(requests) && (socket.receiveReply(add) || errno == ENOENT || errno == EINTR);
}

void sortRows(std::vector<SocketRow>& rows) {
    std::ranges::stable_sort(rows, [](const SocketRow& a, const SocketRow& b) { return a.key < b.key; });
    const auto isSame = [](const SocketRow& a, const SocketRow& b) { return !(a.key < b.key); };
    rows.erase(std::unique(rows.begin(), rows.end(), isSame), rows.end());
}

KeyField variableAddress(tn::raw_id id) { return KeyField::variable(id, InetAddress::kMaxOctets); }

}  // namespace

std::optional<Socket> readSocket(const nlmsghdr& message) {
    const auto* about = payload<inet_diag_msg>(message);
    if (message.nlmsg_type != SOCK_DIAG_BY_FAMILY || about == nullptr) return {};
    if (about->idiag_family != AF_INET && about->idiag_family != AF_INET6) return {};
    Socket socket;
    socket.local = addressOf(*about, about->id.idiag_src);
    socket.remote = addressOf(*about, about->id.idiag_dst);
    socket.localPort = ntohs(about->id.idiag_sport);
    socket.remotePort = ntohs(about->id.idiag_dport);
    socket.state = about->idiag_state < std::size(kConnStates) ? kConnStates[about->idiag_state] : 1;
    socket.inode = about->idiag_inode;
    if (socket.remotePort == 0 && isAny(socket.remote.octets())) socket.remote = {};
    const Attributes<INET_DIAG_SKV6ONLY> attributes(message, sizeof *about);
    const bool isDual = about->idiag_family == AF_INET6 && attributes.number<uint8_t>(INET_DIAG_SKV6ONLY) == 0;
    if (isDual && socket.remote.type == Type::Unknown && isAny(socket.local.octets())) socket.local = {};
    return socket;
}

SocketRows makeSocketRows(const std::vector<Socket>& tcp, const std::vector<Socket>& udp,
                          const std::function<uint32_t(uint32_t)>& processOf) {
    SocketRows rows;
    for (const Socket& one : tcp) {
        const uint32_t process = processOf(one.inode);
        const auto local = ipv4Of(one.local);
        const auto remote = ipv4Of(one.remote);
        if (local && remote)
            rows.tcpIPv4.push_back({KeyComposer().u32(*local).u32(one.localPort).u32(*remote).u32(one.remotePort).key(),
                                    one.state, process});
        KeyComposer key;
        key.address(one.local).u32(one.localPort);
        if (one.state == kListen)
            rows.listeners.push_back({key.key(), one.state, process});
        else
            rows.connections.push_back({key.address(one.remote).u32(one.remotePort).key(), one.state, process});
    }
    for (const Socket& one : udp) {
        const uint32_t process = processOf(one.inode);
        if (const auto local = ipv4Of(one.local))
            rows.udpIPv4.push_back({KeyComposer().u32(*local).u32(one.localPort).key(), 0, process});
        KeyComposer key;
        key.address(one.local).u32(one.localPort).address(one.remote).u32(one.remotePort).u32(one.inode);
        rows.endpoints.push_back({key.key(), 0, process});
    }
    for (std::vector<SocketRow>* all :
         {&rows.tcpIPv4, &rows.udpIPv4, &rows.connections, &rows.listeners, &rows.endpoints})
        sortRows(*all);
    return rows;
}

std::shared_ptr<SocketWatch> watchSockets(const std::string& proc) {
    const auto read = [processes = std::make_shared<SocketProcesses>(proc)]() -> std::optional<SocketRows> {
        std::vector<Socket> tcp, udp;
        NetlinkSocket socket;
        if (!socket.open(NETLINK_SOCK_DIAG, 0)) return {};
        for (const uint8_t family : {uint8_t{AF_INET}, uint8_t{AF_INET6}})
            if (!list(socket, family, IPPROTO_TCP, tcp) || !list(socket, family, IPPROTO_UDP, udp)) return {};
        std::vector<uint32_t> inodes;
        for (const auto* all : {&tcp, &udp})
            for (const Socket& one : *all) inodes.push_back(one.inode);
        processes->find(inodes);
        return makeSocketRows(tcp, udp, [&](uint32_t inode) { return processes->of(inode); });
    };
    return std::make_shared<SocketWatch>("sockets", read, kListingAge);
}

SocketTable::SocketTable(std::shared_ptr<SocketWatch> source, std::vector<KeyField> key, Rows rows)
    : PositionTable(key), source_(std::move(source)), key_(std::move(key)), rows_(rows) {}

void SocketTable::refresh() { reading_ = source_->latest(); }

const std::vector<SocketRow>& SocketTable::rows() const {
    static const SocketRows none;
    return (reading_ ? *reading_ : none).*rows_;
}

void SocketTable::writeRow(size_t row, tn::message& item) const {
    const SocketRow& one = rows()[row];
    writeKey(key_, one.key, item);
    item.insert_u32(sockets::State, one.state);
    item.insert_u32(sockets::Process, one.process);
}

std::unique_ptr<tn::Handler> makeTcpIPv4(std::shared_ptr<SocketWatch> source) {
    return std::make_unique<SocketTable>(
        std::move(source),
        std::vector<KeyField>{sockets::LocalIPv4, sockets::LocalPort, sockets::RemoteIPv4, sockets::RemotePort},
        &SocketRows::tcpIPv4);
}

std::unique_ptr<tn::Handler> makeUdpIPv4(std::shared_ptr<SocketWatch> source) {
    return std::make_unique<SocketTable>(
        std::move(source), std::vector<KeyField>{sockets::LocalIPv4, sockets::LocalPort}, &SocketRows::udpIPv4);
}

std::unique_ptr<tn::Handler> makeConnections(std::shared_ptr<SocketWatch> source) {
    return std::make_unique<SocketTable>(
        std::move(source),
        std::vector<KeyField>{sockets::LocalType, variableAddress(sockets::LocalAddress), sockets::LocalPort,
                              sockets::RemoteType, variableAddress(sockets::RemoteAddress), sockets::RemotePort},
        &SocketRows::connections);
}

std::unique_ptr<tn::Handler> makeListeners(std::shared_ptr<SocketWatch> source) {
    return std::make_unique<SocketTable>(
        std::move(source),
        std::vector<KeyField>{sockets::LocalType, variableAddress(sockets::LocalAddress), sockets::LocalPort},
        &SocketRows::listeners);
}

std::unique_ptr<tn::Handler> makeEndpoints(std::shared_ptr<SocketWatch> source) {
    return std::make_unique<SocketTable>(
        std::move(source),
        std::vector<KeyField>{sockets::LocalType, variableAddress(sockets::LocalAddress), sockets::LocalPort,
                              sockets::RemoteType, variableAddress(sockets::RemoteAddress), sockets::RemotePort,
                              sockets::Instance},
        &SocketRows::endpoints);
}

}  // namespace hostd
