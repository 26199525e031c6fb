#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "tn/address.h"
#include "tn/bus_socket.h"

namespace snmp {

/// The UDP socket that traps leave from: an IPv6 one that carries IPv4 too, or an IPv4 one where IPv6 isn't there. It
/// never waits. What fails leaves the reason in errno.
class TrapSocket {
  public:
    /// Opens it, or takes the one that wasn't closed.
    [[nodiscard]] bool open();
    void close() { socket_.reset(); }

    /// Turns it to another target.
    [[nodiscard]] bool connect(const tn::IPAddr6& target, uint16_t port);
    /// The address from which the connected target is reached.
    [[nodiscard]] std::optional<tn::IPAddr6> local() const;
    [[nodiscard]] bool send(std::span<const uint8_t> datagram);

  private:
    tn::Descriptor socket_;
    bool isIPv4_ = false;
};

}  // namespace snmp
