#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "tn/address.h"

namespace snmp {

/// One received datagram, with the sender's address. The datagram's packet information (IP_PKTINFO, IPV6_PKTINFO) makes
/// the answer leave from the address to which the request was sent.
class Datagram {
  public:
    /// Receives the next datagram. Doesn't block: a datagram with a bad checksum wakes the loop, and the kernel then
    /// drops it.
    /// @return false if there is none
    bool receive(int fd);
    /// Sends the answer to the sender of the last datagram. Errors are ignored: managers repeat unanswered requests.
    void answer(int fd, std::span<const uint8_t> reply);

    /// The datagram's payload. Valid until the next datagram is received, by this or any other object.
    [[nodiscard]] std::span<const uint8_t> bytes() const;
    [[nodiscard]] tn::IPAddr6 source() const {
        return tn::IPAddr6::ofSockaddr(reinterpret_cast<const sockaddr&>(peer_));
    }

  private:
    msghdr header_{};
    sockaddr_in6 peer_{};
    size_t size_ = 0;
    // Room for both records of a dual-stack socket. If recvmsg cut them off, sendmsg would fail.
    alignas(cmsghdr) std::array<std::byte, 128> ancillary_{};
};

}  // namespace snmp
