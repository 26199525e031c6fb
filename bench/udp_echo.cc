// The baseline for the agent: the minimum cost of a reply for any UDP server with one epoll loop. Each wake-up receives
// one datagram and returns it, without batching.
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

int listenOn(uint16_t port) {
    const int fd = socket(AF_INET6, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    if (fd < 0) fail("socket");
    const int off = 0;
    if (setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off) < 0) fail("IPV6_V6ONLY");
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(port);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) fail("bind");
    return fd;
}

void echoOne(int fd) {
    static std::array<char, 65536> datagram;
    sockaddr_in6 peer{};
    socklen_t length = sizeof peer;
    auto* address = reinterpret_cast<sockaddr*>(&peer);
    const ssize_t size = recvfrom(fd, datagram.data(), datagram.size(), 0, address, &length);
    if (size >= 0) sendto(fd, datagram.data(), static_cast<size_t>(size), 0, address, length);
}

}  // namespace

int main(int argc, char** argv) {
    const int port = argc == 2 ? std::atoi(argv[1]) : 0;
    if (port < 1 || port > 65535) {
        std::fprintf(stderr, "usage: udp-echo PORT\n");
        return 2;
    }
    const int fd = listenOn(static_cast<uint16_t>(port));
    const int poller = epoll_create1(0);
    epoll_event event{};
    event.events = EPOLLIN;
    if (poller < 0 || epoll_ctl(poller, EPOLL_CTL_ADD, fd, &event) < 0) fail("epoll");
    while (true) {
        if (epoll_wait(poller, &event, 1, -1) == 1) echoOne(fd);
    }
}
