#include "bench/udp_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace bench {

UdpClient::UdpClient(uint16_t port, std::chrono::milliseconds timeout) : fd_(socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const timeval wait{timeout.count() / 1000, timeout.count() % 1000 * 1000};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    if (fd_ < 0 || connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        throw std::runtime_error("no socket");
    }
}

UdpClient::~UdpClient() { close(fd_); }

void UdpClient::send(std::span<const uint8_t> octets) const {
    if (::send(fd_, octets.data(), octets.size(), 0) < 0) throw std::runtime_error("send: port closed");
}

std::span<const uint8_t> UdpClient::receive() {
    const ssize_t size = recv(fd_, buffer_.data(), buffer_.size(), 0);
    if (size < 0 && errno != EAGAIN && errno != EINTR) throw std::runtime_error("recv: port closed");
    return std::span(buffer_).first(size < 0 ? 0 : static_cast<size_t>(size));
}

}  // namespace bench
