#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <span>

namespace bench {

/// A socket connected to a UDP port of 127.0.0.1. Operations throw std::runtime_error if the port is closed.
class UdpClient {
  public:
    /// @param timeout  of receive()
    UdpClient(uint16_t port, std::chrono::milliseconds timeout);
    ~UdpClient();
    UdpClient(const UdpClient&) = delete;
    UdpClient& operator=(const UdpClient&) = delete;

    void send(std::span<const uint8_t> octets) const;
    /// The next datagram, valid until the next call; empty after the timeout.
    [[nodiscard]] std::span<const uint8_t> receive();

  private:
    int fd_;
    std::array<uint8_t, 65'536> buffer_{};
};

}  // namespace bench
