#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "bench/udp_client.h"
#include "wire/manager.h"

namespace bench {

/// A flag with a value, and the value that it has if none is given.
constexpr const char* kV3Flag = "--v3{md5-des}";
constexpr const char* kV3Help =
    "SNMPv3 authPriv instead of v2c, with protocols such as md5-des or sha256-aes128. They are also the user's name; "
    "both passwords are benchbench";

/// The user of kV3Help, at authPriv. Throws std::runtime_error if `protocols` aren't a pair of protocols.
[[nodiscard]] wire::Manager benchUser(const std::string& protocols);

/// Exchanges requests and replies with a server on 127.0.0.1. The caller sees v2c messages, even if SNMPv3 is on the
/// wire.
class Session {
  public:
    /// Throws std::runtime_error if the server doesn't answer the discovery.
    /// @param timeout  of receive()
    /// @param v3       protocols of benchUser; empty for v2c. The constructor discovers engine id, boots and time
    Session(uint16_t port, std::chrono::milliseconds timeout, const std::string& v3);

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
