#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "tn/address.h"

namespace snmp {

/// One datagram and what its answer needs: the sender's address and the packet-information records (IP_PKTINFO,
/// IPV6_PKTINFO) that make the answer leave from the address to which the request was sent.
class Datagram {
  public:
    /// Takes the next datagram without blocking: one with a bad checksum wakes the loop and then isn't there.
    /// False when there is none.
    bool receive(int fd);
    /// Sends the answer; an error is ignored, as the requester asks again.
    void answer(int fd, std::span<const uint8_t> reply);

    /// Valid until the next datagram is received.
    [[nodiscard]] std::span<const uint8_t> bytes() const;
    [[nodiscard]] tn::IPAddr6 source() const {
        return tn::IPAddr6::ofSockaddr(reinterpret_cast<const sockaddr&>(peer_));
    }

  private:
    msghdr header_{};
    sockaddr_in6 peer_{};
    size_t size_ = 0;
    // Room for both records of a dual-stack socket: with less, recvmsg cuts them off and sendmsg fails.
    alignas(cmsghdr) std::array<std::byte, 128> ancillary_{};
};

}  // namespace snmp
