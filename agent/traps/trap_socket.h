#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "tn/address.h"
#include "tn/bus_socket.h"

namespace snmp {

/// A UDP socket from which traps are sent: a dual-stack socket, or an IPv4 one on a machine without IPv6. It is
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
    // For use by a socket that isn't connected, and watched by the loop.

    explicit operator bool() const { return static_cast<bool>(socket_); }  ///< whether it is open
    [[nodiscard]] int descriptor() const { return socket_.get(); }
    /// Sends one datagram. False if the kernel didn't accept it.
    [[nodiscard]] bool sendTo(const tn::IPAddr6& target, uint16_t port, std::span<const uint8_t> datagram);
    struct Received {
        tn::IPAddr6 source;
        uint16_t port = 0;
        size_t size = 0;  ///< octets
    };
    /// Receives a datagram. What doesn't fit into the buffer is cut off. Nothing if none has arrived.
    [[nodiscard]] std::optional<Received> receive(std::span<uint8_t> buffer);

    /// The source address towards the connected target; nothing on failure.
    [[nodiscard]] std::optional<tn::IPAddr6> local() const;
    /// Sends one datagram to the connected target. False if the kernel didn't accept it.
    [[nodiscard]] bool send(std::span<const uint8_t> datagram);

  private:
    struct Address;
    [[nodiscard]] std::optional<Address> addressOf(const tn::IPAddr6& target, uint16_t port) const;

    tn::Descriptor socket_;
    bool isIPv4_ = false;  ///< the socket's family is IPv4: it can't reach IPv6 targets
};

}  // namespace snmp
