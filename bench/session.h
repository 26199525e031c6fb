#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "bench/udp_client.h"
#include "wire/manager.h"

namespace bench {

constexpr const char* kV3Help = "SNMPv3 authPriv instead of v2c: user bench, SHA, DES, both passwords benchbench";

/// Exchanges requests and replies with one server. They are v2c messages here, even if SNMPv3 is on the wire.
class Session {
  public:
    /// @param v3  authenticates and encrypts everything; the constructor discovers engine id, boots and time
    Session(uint16_t port, std::chrono::milliseconds timeout, bool v3);

    void send(std::span<const uint8_t> message);
    /// The next reply, valid until the next call; empty after the timeout. Throws std::runtime_error if its
    /// authentication or encryption is wrong.
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
