#include "agent/traps/trap_socket.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace snmp {

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
    if (!isIPv4_) {
        sockaddr_in6 to{};
        to.sin6_family = AF_INET6;
        to.sin6_port = htons(port);
        std::ranges::copy(target.octets(), to.sin6_addr.s6_addr);
        return ::connect(socket_.get(), reinterpret_cast<sockaddr*>(&to), sizeof to) == 0;
    }
    if (!target.isIPv4()) {
        errno = EAFNOSUPPORT;
        return false;
    }
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(target.getIPv4());
    return ::connect(socket_.get(), reinterpret_cast<sockaddr*>(&to), sizeof to) == 0;
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
