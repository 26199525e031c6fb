#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "bench/udp_client.h"
#include "wire/manager.h"

namespace bench {

constexpr const char* kV3Help = "SNMPv3 authPriv instead of v2c: user bench, SHA, DES, both passwords benchbench";

/// Requests to one server and their answers, in the form of v2c whatever is on the wire.
class Session {
  public:
    /// @param v3  everything goes encrypted and signed; the server is asked for its engine, boots and time here
    Session(uint16_t port, std::chrono::milliseconds patience, bool v3);

    void send(std::span<const uint8_t> message);
    /// Valid until the next call; empty when none came in time. Throws std::runtime_error on an answer that isn't
    /// signed or encrypted right.
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
