#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "tn/address.h"
#include "tn/bus_socket.h"

namespace snmp {

/// The UDP socket from which traps are sent: a dual-stack one, or an IPv4 one on a machine without IPv6. It is
/// non-blocking. Operations that fail leave the reason in errno and the socket usable.
class TrapSocket {
  public:
    /// Opens the socket; one that is still open stays. False when neither family is available.
    [[nodiscard]] bool open();
    /// Closes it; nothing when it is closed.
    void close() { socket_.reset(); }

    /// Connects the open socket to another target. False for an IPv6 target of an IPv4 socket, and where there is no
    /// route.
    [[nodiscard]] bool connect(const tn::IPAddr6& target, uint16_t port);
    /// The source address towards the connected target.
    [[nodiscard]] std::optional<tn::IPAddr6> local() const;
    /// Sends one datagram to the connected target.
    [[nodiscard]] bool send(std::span<const uint8_t> datagram);

  private:
    tn::Descriptor socket_;
    bool isIPv4_ = false;  ///< the socket's family is IPv4: it reaches no IPv6 target
};

}  // namespace snmp
