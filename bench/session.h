#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "bench/udp_client.h"
#include "wire/manager.h"

namespace bench {

constexpr const char* kV3Help = "SNMPv3 authPriv instead of v2c: user bench, MD5, DES, both passwords benchbench";

/// The user of kV3Help, at authPriv.
[[nodiscard]] wire::Manager benchUser();

/// Exchanges requests and replies with a server on 127.0.0.1. The caller sees v2c messages, even if SNMPv3 is on the
/// wire.
class Session {
  public:
    /// Throws std::runtime_error if the server doesn't answer the discovery.
    /// @param timeout  of receive()
    /// @param v3       use SNMPv3 authPriv. The constructor discovers engine id, boots and time
    Session(uint16_t port, std::chrono::milliseconds timeout, bool v3);

    /// Sends a v2c request. Throws std::runtime_error if the port is closed.
    void send(std::span<const uint8_t> message);
    /// The next reply, valid until the next call; empty after the timeout. Throws std::runtime_error if the port is
    /// closed, or if the reply's authentication or encryption is wrong.
    [[nodiscard]] std::span<const uint8_t> receive();

  private:
    void discover();
    [[nodiscard]] uint32_t serverTime() const;
    [[nodiscard]] wire::Bytes sealed(std::span<const uint8_t> pdu);
    [[nodiscard]] wire::Manager::Reply open(std::span<const uint8_t> octets) const;

    UdpClient socket_;
    std::optional<wire::Manager> manager_;
    std::chrono::steady_clock::time_point discovered_;
    wire::Bytes answer_;
};

}  // namespace bench
