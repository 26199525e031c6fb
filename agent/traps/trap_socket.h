#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "tn/address.h"
#include "tn/bus_socket.h"

namespace snmp {

/// The UDP socket from which traps are sent: a dual-stack socket, or an IPv4 one on a machine without IPv6. It is
/// non-blocking. An operation that fails sets errno, and the socket can still be used.
class TrapSocket {
  public:
    /// Opens the socket, if it is closed. False if neither family is available.
    [[nodiscard]] bool open();
    /// Closes the socket, if it is open.
    void close() { socket_.reset(); }

    /// Connects the open socket to another target. False if there is no route, or if the target is IPv6 and the socket
    /// IPv4.
    [[nodiscard]] bool connect(const tn::IPAddr6& target, uint16_t port);
    /// The source address towards the connected target; nothing on failure.
    [[nodiscard]] std::optional<tn::IPAddr6> local() const;
    /// Sends one datagram to the connected target. False if the kernel didn't accept it.
    [[nodiscard]] bool send(std::span<const uint8_t> datagram);

  private:
    tn::Descriptor socket_;
    bool isIPv4_ = false;  ///< the socket's family is IPv4: it can't reach IPv6 targets
};

}  // namespace snmp
