#include "agent/core/service_socket.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>

#include "agent/log.h"
#include "tn/bus_socket.h"

namespace snmp {

namespace {

bool setOption(int fd, int level, int name, int value = 1) {
    return setsockopt(fd, level, name, &value, sizeof value) == 0;
}

bool deliversDestinations(int fd, bool isDualStack) {
    return (!isDualStack || setOption(fd, IPPROTO_IPV6, IPV6_RECVPKTINFO)) && setOption(fd, IPPROTO_IP, IP_PKTINFO);
}

bool bindTo(int fd, uint16_t port, bool isDualStack) {
    sockaddr_in6 any6{};
    any6.sin6_family = AF_INET6;
    any6.sin6_port = htons(port);
    if (isDualStack) return bind(fd, reinterpret_cast<sockaddr*>(&any6), sizeof any6) == 0;
    sockaddr_in any4{};
    any4.sin_family = AF_INET;
    any4.sin_port = htons(port);
    return bind(fd, reinterpret_cast<sockaddr*>(&any4), sizeof any4) == 0;
}

bool setUp(int fd, uint16_t port, bool isDualStack) {
    return deliversDestinations(fd, isDualStack) && setOption(fd, SOL_SOCKET, SO_REUSEADDR) &&
           bindTo(fd, port, isDualStack) &&
           // If the option stayed set, any user could bind the same port, if it is 1024 or above, and receive requests.
           setOption(fd, SOL_SOCKET, SO_REUSEADDR, 0);
}

bool isUsable(int inherited) {
    const bool isDualStack = sd_is_socket(inherited, AF_INET6, SOCK_DGRAM, -1) > 0;
    return (isDualStack || sd_is_socket(inherited, AF_INET, SOCK_DGRAM, -1) > 0) &&
           deliversDestinations(inherited, isDualStack);
}

}  // namespace

int openServiceSocket(uint16_t port) {
    int fd = ::socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool isDualStack = fd >= 0;
    if (!isDualStack) fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || setUp(fd, port, isDualStack)) return fd;
    const int reason = errno;
    close(fd);
    errno = reason;
    return -1;
}

int inheritedServiceSocket() {
    int found = -1;
    for (const auto& [name, fd] : tn::receivedSockets()) {
        if (name != kServiceSocketName) continue;
        if (!isUsable(fd)) {
            swarn << "service: the inherited descriptor isn't a UDP socket";
        } else if (found < 0) {
            found = fd;
        } else {
            swarn << "service: several inherited sockets; only the first is served";
        }
    }
    return found;
}

uint16_t portOf(int fd) {
    sockaddr_in6 address{};
    socklen_t length = sizeof address;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
    return ntohs(address.sin6_port);  // where sockaddr_in has it, too
}

void discardDatagrams(int fd) {
    constexpr int kMostQueued = 100'000;  // bounds the loop while senders are faster
    for (int i = 0; i < kMostQueued && recv(fd, nullptr, 0, MSG_DONTWAIT) >= 0; ++i) continue;
}

}  // namespace snmp
