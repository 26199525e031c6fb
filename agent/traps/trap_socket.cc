#include "agent/traps/trap_socket.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace snmp {

/// A destination in the socket's family.
struct TrapSocket::Address {
    sockaddr_storage octets{};
    socklen_t size = 0;

    [[nodiscard]] const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&octets); }
};

// Nothing, with errno set, for an IPv6 target of an IPv4 socket.
std::optional<TrapSocket::Address> TrapSocket::addressOf(const tn::IPAddr6& target, uint16_t port) const {
    Address address;
    if (!isIPv4_) {
        auto& to = reinterpret_cast<sockaddr_in6&>(address.octets);
        to.sin6_family = AF_INET6;
        to.sin6_port = htons(port);
        std::ranges::copy(target.octets(), to.sin6_addr.s6_addr);
        address.size = sizeof to;
        return address;
    }
    if (!target.isIPv4()) {
        errno = EAFNOSUPPORT;
        return {};
    }
    auto& to = reinterpret_cast<sockaddr_in&>(address.octets);
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(target.getIPv4());
    address.size = sizeof to;
    return address;
}

bool TrapSocket::open() {
    if (socket_) return true;
    constexpr int kType = SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC;
    socket_ = tn::Descriptor(::socket(AF_INET6, kType, 0));
    isIPv4_ = !socket_;
    if (isIPv4_) {
        socket_ = tn::Descriptor(::socket(AF_INET, kType, 0));
        return static_cast<bool>(socket_);
    }
    const int off = 0;  // set explicitly: the system's default (bindv6only) may be 1
    (void)::setsockopt(socket_.get(), IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
    return true;
}

bool TrapSocket::connect(const tn::IPAddr6& target, uint16_t port) {
    // Disconnect first: the socket would otherwise keep its source address, which may not reach the next target.
    const sockaddr unspecified{.sa_family = AF_UNSPEC, .sa_data = {}};
    (void)::connect(socket_.get(), &unspecified, sizeof unspecified);
    const auto to = addressOf(target, port);
    return to && ::connect(socket_.get(), to->get(), to->size) == 0;
}

bool TrapSocket::sendTo(const tn::IPAddr6& target, uint16_t port, std::span<const uint8_t> datagram) {
    const auto to = addressOf(target, port);
    return to && ::sendto(socket_.get(), datagram.data(), datagram.size(), MSG_NOSIGNAL, to->get(), to->size) >= 0;
}

std::optional<TrapSocket::Received> TrapSocket::receive(std::span<uint8_t> buffer) {
    sockaddr_storage from{};
    socklen_t length = sizeof from;
    auto* const address = reinterpret_cast<sockaddr*>(&from);
    const ssize_t size = ::recvfrom(socket_.get(), buffer.data(), buffer.size(), 0, address, &length);
    if (size < 0) return {};
    const in_port_t port = isIPv4_ ? reinterpret_cast<const sockaddr_in&>(from).sin_port
                                   : reinterpret_cast<const sockaddr_in6&>(from).sin6_port;
    return Received{tn::IPAddr6::ofSockaddr(*address), ntohs(port), static_cast<size_t>(size)};
}

std::optional<tn::IPAddr6> TrapSocket::local() const {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) return {};
    return tn::IPAddr6::ofSockaddr(reinterpret_cast<const sockaddr&>(address));
}

bool TrapSocket::send(std::span<const uint8_t> datagram) {
    const auto attempt = [&] { return ::send(socket_.get(), datagram.data(), datagram.size(), MSG_NOSIGNAL) >= 0; };
    if (attempt()) return true;
    // If an earlier target refused a trap (ICMP), the next send fails with that error and sends nothing.
    return attempt();
}

}  // namespace snmp
